// The client of appkit over stubs of the test's own.
#include <gtest/gtest.h>

#include <thread>
#include <tuple>

#include "tesselclient.h"
#include "tesselservice.h"

namespace {

DWORD g_openRaises = 0;
DWORD g_requestRaises = 0;
int g_requests = 0;
const wchar_t* g_answer = nullptr;
constexpr wchar_t kRoom[] = L"the request's own text";

tessel::Reply Ask(DWORD open_raises, DWORD request_raises, const wchar_t* answer) {
    std::tie(g_openRaises, g_requestRaises, g_answer) =
        std::tie(open_raises, request_raises, answer);
    g_requests = 0;
    return tessel::Client::Identity(L"COMMAND");
}

// On a thread of its own, and for a command that nobody sent.
void Answer(wchar_t* text) {
    wchar_t command[] = L"COMMAND";
    std::wstring answer = g_answer == kRoom ? text : g_answer;
    std::thread(ReportResult, command, boolean{1}, 1, answer.data()).join();
    ReportResult(answer.data(), 0, 0, command);
}

TEST(AppKit, TellsWhatCameOfARequest) {
    for (const DWORD code : {1722UL, 1726UL, 0x20474343UL, 0x21474343UL, 0xE06D7363UL}) {
        tessel::Reply reply = Ask(code, 0, L"answer");
        EXPECT_EQ(reply.error, static_cast<long>(code));
        EXPECT_FALSE(reply || reply.sent);
        reply = Ask(0, code, nullptr);
        EXPECT_EQ(reply.error, static_cast<long>(code));
        EXPECT_TRUE(reply.sent && g_requests == 1);
        EXPECT_TRUE(Ask(0, code, L"answer")) << "the answer came before the failure";
    }
    EXPECT_EQ(Ask(0, 0, nullptr).outcome, tessel::Outcome::kNoAnswer);
    EXPECT_EQ(tessel::Client::Request(L"A", false, 0, std::wstring(1, L'\0')).error, 87);
}

TEST(AppKit, IdentityIsEmptyWhenNoneWasRead) {
    EXPECT_EQ(Ask(0, 0, L"8949012345678901234").text, L"8949012345678901234");
    EXPECT_EQ(Ask(0, 0, L"").text, L"");
    EXPECT_EQ(Ask(0, 0, kRoom).text, L"");
}

}  // namespace

void RemoteOpen(handle_t /*binding*/, REQUEST_CONTEXT_HANDLE* context) {
    if (g_openRaises != 0) {
        RaiseException(g_openRaises, 0, 0, nullptr);
    }
    *context = &g_requests;
}
void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    *context = nullptr;
}
void RemoteRequest(REQUEST_CONTEXT_HANDLE, const wchar_t*, boolean, long, wchar_t* text) {
    ++g_requests;
    if (g_answer != nullptr) {
        Answer(text);
    }
    if (g_requestRaises != 0) {
        RaiseException(g_requestRaises, 0, 0, nullptr);
    }
}
