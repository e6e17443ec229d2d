#include "rpc/action.h"

#include <windows.h>

#include <memory>
#include <new>
#include <utility>

namespace {

void WINAPI DeleteText(void* text) {
    delete static_cast<std::wstring*>(text);
}

// Belongs to the thread: a failing callback takes it out of its request past every destructor.
const DWORD g_textSlot = FlsAlloc(&DeleteText);

}  // namespace

void RunAction(const Command& command, Answer& answer) {
    FreeText();
    try {
        command.action(answer);
    } catch (...) {
        // Out of memory: other failures are folded into the answer.
    }
}

void SetText(Answer& answer, std::wstring text) {
    FreeText();
    auto kept = std::make_unique<std::wstring>(std::move(text));
    if (!FlsSetValue(g_textSlot, kept.get())) {
        throw std::bad_alloc();
    }
    answer.text = kept.release()->data();
}

void FreeText() {
    DeleteText(FlsGetValue(g_textSlot));
    FlsSetValue(g_textSlot, nullptr);
}
