// The client of appkit over stubs of the test's own.
#include <gtest/gtest.h>

#include <thread>

#include "tesselclient.h"
#include "tesselservice.h"

namespace {

struct {
    DWORD open_raises;
    DWORD request_raises;
    const wchar_t* answer;  // a blank: the request's own text
    int failing_opens;
    int requests;
    int contexts;
    bool no_context;
} g_stub;

tessel::Reply Ask(DWORD open_raises, DWORD request_raises, const wchar_t* answer) {
    g_stub = {open_raises, request_raises, answer, 2, 0, 0, false};
    return tessel::Client::Identity(L"COMMAND");
}

// Answers on another thread, and answers a command that was not sent. Not inlined into frames that
// exceptions pass.
__attribute__((noinline)) void Answer(wchar_t* text) {
    wchar_t command[] = L"COMMAND";
    std::wstring answer = *g_stub.answer == L' ' ? text : g_stub.answer;
    std::thread(ReportResult, command, boolean{1}, 1, answer.data()).join();
    ReportResult(answer.data(), 0, 0, command);
}

TEST(AppKit, TellsWhatCameOfARequest) {
    for (const DWORD code : {1722UL, 1726UL, 0x20474343UL, 0x21474343UL, 0xE06D7363UL}) {
        tessel::Reply reply = Ask(code, 0, L"answer");
        EXPECT_TRUE(reply.error == static_cast<long>(code) && !reply.sent);
        reply = Ask(0, code, nullptr);
        EXPECT_TRUE(reply.error == static_cast<long>(code) && reply.sent && g_stub.requests == 1);
        EXPECT_TRUE(Ask(0, code, L"answer")) << "the answer came before the failure";
    }
    EXPECT_EQ(Ask(0, 0, nullptr).outcome, tessel::Outcome::kNoAnswer);
    g_stub = {1726, 0, nullptr, 1, 0, 0, false};
    EXPECT_TRUE(tessel::Client::Connect() == 0 && g_stub.contexts == 0) << "at the second attempt";
    g_stub.no_context = true;
    EXPECT_EQ(tessel::Client::Connect(), 14);
    EXPECT_EQ(tessel::Client::Request(L"A", false, 0, std::wstring(1, L'\0')).error, 87);
    // An identity is empty when none was read.
    EXPECT_EQ(Ask(0, 0, L"8949012345678901234").text, L"8949012345678901234");
    EXPECT_EQ(Ask(0, 0, L"").text, L"");
    EXPECT_EQ(Ask(0, 0, L" ").text, L"");
}

}  // namespace

void RemoteOpen(handle_t /*binding*/, REQUEST_CONTEXT_HANDLE* context) {
    if (g_stub.open_raises != 0 && g_stub.failing_opens-- > 0) {
        RaiseException(g_stub.open_raises, 0, 0, nullptr);
    }
    if (g_stub.no_context) {
        return;
    }
    *context = &g_stub.requests;
    ++g_stub.contexts;
}
void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    *context = nullptr;
    --g_stub.contexts;
}
void RemoteRequest(REQUEST_CONTEXT_HANDLE, const wchar_t*, boolean, long, wchar_t* text) {
    ++g_stub.requests;
    if (g_stub.answer != nullptr) {
        Answer(text);
    }
    if (g_stub.request_raises != 0) {
        RaiseException(g_stub.request_raises, 0, 0, nullptr);
    }
}
