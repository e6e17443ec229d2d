// Requests as the runtime hands them over. The log is off, as in the shipped program.
#include <gtest/gtest.h>
#include <windows.h>
#include <cfgmgr32.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "command/commandhelp.h"
#include "interface/tesselservice.h"
#include "tests/support/interposed.h"

namespace {

std::atomic<int> g_allocations;
int g_answers = 0;

}  // namespace

// Like a machine without a control device.
INTERPOSE_GIVES(CM_Get_Device_Interface_List_SizeW, kNone, CR_FAILURE);

void* operator new(std::size_t size) {
    ++g_allocations;
    void* block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void ReportResult(wchar_t* /*command*/, boolean /*flag*/, long /*number*/, wchar_t* /*text*/) {
    ++g_answers;
}

namespace {

// Sends a request with a long text, and returns whether it allocated memory.
bool Allocates(const wchar_t* command) {
    std::wstring text(1'000'000, L'x');
    const int before = g_allocations;
    RemoteRequest(nullptr, command, 1, 7, text.data());
    return g_allocations != before;
}

TEST(RequestTest, OnlyCommandsThatKeepOrConvertATextAllocateMemory) {
    std::vector<std::wstring> allocating;
    for (const auto& family : kCommandHelp) {
        for (const CommandHelp& command : family) {
            if (Allocates(command.name)) {
                allocating.emplace_back(command.name);
            }
        }
    }
    EXPECT_EQ(allocating, (std::vector<std::wstring>{L"COMMONHELPER_ISFILE_EXISTS",
                                                     L"COMMONHELPER_READEULADOCUMENT"}));
    EXPECT_EQ(g_answers, 34);
    const std::wstring names[] = {L"", L"REGISTRYHELPER_ISVZWQ" + std::wstring(1'000'000, L'x')};
    for (const std::wstring& name : names) {
        EXPECT_FALSE(Allocates(name.c_str()));
    }
    EXPECT_EQ(g_answers, 34) << "no command has these names";
}

}  // namespace
