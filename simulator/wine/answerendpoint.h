// Where a client process takes its answers on the simulated notebook.
#pragma once

#include <string>

inline std::wstring AnswerEndpoint(unsigned long process_id) {
    return L"TesselAnswers-" + std::to_wstring(process_id);
}
