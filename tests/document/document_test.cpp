#include "document/commonhelper.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <utility>

#include "tests/support/answers.h"
#include "tests/support/interposed.h"
#include "win32/uniquehandle.h"

using namespace std::string_literals;

namespace {

// Thrown instead of the exception of the RPC runtime, which a test cannot catch.
struct ClientGone {};

// The bytes of the heap, and how many blocks were written past their end.
constexpr char kGuard[8] = "guard";
std::atomic<std::size_t> g_live_bytes;
std::atomic<int> g_overruns;

DWORD g_open_flags = 0;

void NoteOpen(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD flags, HANDLE) {
    g_open_flags = flags;
}

}  // namespace

INTERPOSE_NOTED(CreateFileW, kNone, NoteOpen);
INTERPOSE(ReadFile, kNone);
INTERPOSE(FlsSetValue, kNone);

void* operator new(std::size_t size) {
    void* block = std::malloc(size + sizeof(kGuard));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(static_cast<char*>(block) + size, kGuard, sizeof(kGuard));
    g_live_bytes += size;
    return block;
}

void operator delete(void* block) noexcept {
    if (block != nullptr) {
        const std::size_t size = _msize(block) - sizeof(kGuard);
        g_overruns += std::memcmp(static_cast<char*>(block) + size, kGuard, sizeof(kGuard)) != 0;
        g_live_bytes -= size;
        std::free(block);
    }
}

void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

std::wstring ReadText(const std::wstring& path) {
    const std::wstring answer =
        AnswerOf(CommonHelperCommand, L"COMMONHELPER_READEULADOCUMENT", true, -3, path);
    EXPECT_EQ(answer.substr(0, 7), L"true -3");
    return answer.substr(std::min<std::size_t>(answer.size(), 8));
}

std::wstring Exists(const std::wstring& path) {
    return AnswerOf(CommonHelperCommand, L"COMMONHELPER_ISFILE_EXISTS", true, -3, path);
}

// The client vanishes while it is answered.
void AskAndVanish(const std::wstring& path) {
    g_onAnswer = [] { throw ClientGone(); };
    EXPECT_THROW(ReadText(path), ClientGone);
    g_onAnswer = [] {};
}

class CommonHelper : public testing::Test {
 protected:
    CommonHelper() { std::filesystem::create_directory(m_folder); }

    ~CommonHelper() override {
        EXPECT_EQ(g_overruns.exchange(0), 0) << "written past the end of a block";
        std::filesystem::remove_all(m_folder);
    }

    std::wstring Path(const std::wstring& name) const { return m_folder + L"\\" + name; }

    std::wstring Write(const std::wstring& name, const std::string& bytes) {
        std::ofstream(std::filesystem::path(Path(name)), std::ios::binary) << bytes;
        return Path(name);
    }

    const std::wstring m_folder = std::filesystem::temp_directory_path() / L"document_test";
};

TEST_F(CommonHelper, ReadsLinesAndEndsTheLast) {
    const std::pair<std::string, std::wstring> files[] = {
        {"a\r\nb", L"a\nb\n"},
        {"a\nb\r\n\r\n", L"a\nb\n\n"},
        {"a\rb\r\r\n\r", L"a\rb\r\n\r\n"},
        {"", L""},
        {"\n", L"\n"},
        {"\x7F\x80\x8D\xFF", L"\x7F\xFF80\xFF8D\xFFFF\n"},
        {"a\x1A\n", L"a\n"},
        // The client's string ends at the first zero.
        {"ab\0cd"s, L"ab"},
    };
    for (const auto& [bytes, text] : files) {
        EXPECT_EQ(ReadText(Write(L"file", bytes)), text);
    }
}

// The length of a pipe is not known. Its first piece is one byte, which may be all; later ones end
// anywhere.
TEST_F(CommonHelper, ReadsAPipeInPieces) {
    const wchar_t pipe_name[] = L"\\\\.\\pipe\\document_test";
    std::string bytes = "a";
    std::wstring expected = L"a";
    for (const int repeats : {0, 40'000}) {
        for (int i = 0; i < repeats; ++i) {
            bytes += "\r\n\rba";
            expected += L"\n\rba";
        }
        FileHandle pipe(CreateNamedPipeW(pipe_name, PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, 1, 4096,
                                         0, 0, nullptr));
        std::thread writer([&] {
            ConnectNamedPipe(pipe.get(), nullptr);
            for (std::size_t done = 0, piece = 1; done < bytes.size(); done += piece) {
                piece = std::min(done % 4999 + 1, bytes.size() - done);
                DWORD count = 0;
                EXPECT_TRUE(WriteFile(pipe.get(), &bytes[done], static_cast<DWORD>(piece), &count,
                                      nullptr));
            }
            pipe.reset();
        });
        EXPECT_TRUE(ReadText(pipe_name) == expected + L'\n');
        writer.join();
    }
    // The process that serves the pipe must not get the service's identity.
    EXPECT_EQ(g_open_flags & SECURITY_VALID_SQOS_FLAGS, SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS);
}

TEST_F(CommonHelper, AnswersWithAnEmptyTextWhatCannotBeRead) {
    const std::wstring path = Write(L"held", "text");
    const auto hold = [&](DWORD share) {
        return FileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    };
    {
        const FileHandle exclusive = hold(0);
        for (const std::wstring& unreadable : {Path(L"missing"), m_folder, L""s, path}) {
            EXPECT_EQ(ReadText(unreadable), L"");
        }
    }
    const FileHandle writer = hold(FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_EQ(ReadText(path), L"text\n") << "while another writes";

    for (const Fault& fault : {Fault{"ReadFile", 1}, Fault{"FlsSetValue", 1}}) {
        g_watch = {true, fault};
        EXPECT_EQ(ReadText(path), L"");
        g_watch = {};
    }
}

TEST_F(CommonHelper, TellsWhetherAPathExistsByTheLowBytesOfItsName) {
    const std::wstring path = Write(L"A", "");
    // msvcrt does not find the path with the backslash. U+0141 has the low byte of "A".
    for (const std::wstring& there : {path, Path(L"\x0141"), m_folder, m_folder + L"\\"}) {
        EXPECT_EQ(Exists(there), L"true -3");
    }
    const std::wstring wide = Write(L"\x0142", "wide");
    for (const std::wstring& missing : {Path(L"missing"), path + L"\\below", L""s, wide}) {
        EXPECT_EQ(Exists(missing), L"false -3");
    }
    EXPECT_EQ(ReadText(wide), L"wide\n");
}

TEST_F(CommonHelper, FreesTheTextAlsoIfTheClientVanishes) {
    const std::wstring path = Write(L"large", std::string(3'000'000, '\xE4'));
    const std::size_t before = g_live_bytes;
    EXPECT_EQ(ReadText(path).size(), 3'000'001u);
    std::wstring().swap(g_answers);
    EXPECT_LT(g_live_bytes, before + 10'000u);
    for (int i = 0; i < 5; ++i) {
        AskAndVanish(path);
        EXPECT_LT(g_live_bytes, before + 6'100'000u);
    }
    // The next document of the thread frees it, or the end of the thread.
    EXPECT_EQ(ReadText(m_folder), L"");
    EXPECT_LT(g_live_bytes, before + 10'000u);
    std::thread([&] { AskAndVanish(path); }).join();
    EXPECT_LT(g_live_bytes, before + 10'000u);
}

}  // namespace
