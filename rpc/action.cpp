#include "rpc/action.h"

#include <windows.h>

#include <new>

namespace {

void WINAPI DeleteText(void* text) {
    delete[] static_cast<wchar_t*>(text);
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

void SetText(Answer& answer, std::unique_ptr<wchar_t[]> text) {
    FreeText();
    if (!FlsSetValue(g_textSlot, text.get())) {
        throw std::bad_alloc();
    }
    answer.text = text.release();
}

void FreeText() {
    DeleteText(FlsGetValue(g_textSlot));
    FlsSetValue(g_textSlot, nullptr);
}
