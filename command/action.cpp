#include "command/action.h"

#include <windows.h>

#include <new>

namespace {

void WINAPI DeleteText(void* text) {
    delete[] static_cast<wchar_t*>(text);
}

// The thread owns the text of an answer, because the exception of a failed callback runs no
// destructors.
const DWORD g_textSlot = FlsAlloc(&DeleteText);

}  // namespace

void RunAction(const Command& command, Answer& answer) {
    FreeText();
    try {
        command.action(answer);
    } catch (...) {
        // Out of memory. The action has already set the values for a failure.
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
    void* text = FlsGetValue(g_textSlot);
    if (text != nullptr) {
        DeleteText(text);
        FlsSetValue(g_textSlot, nullptr);
    }
}
