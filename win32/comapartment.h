// Membership of the calling thread in the multithreaded apartment.
#pragma once

#include <windows.h>
#include <objbase.h>

// Joins with CoInitializeEx when made and leaves with CoUninitialize when the scope ends. Kept:
// also when the joining failed. Declare it before everything that COM hands out, so that it goes
// last. Made and destroyed on one thread.
class ComApartment {
 public:
    ComApartment() : m_result(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~ComApartment() { CoUninitialize(); }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    // What CoInitializeEx returned.
    [[nodiscard]] HRESULT Result() const { return m_result; }

 private:
    HRESULT m_result;
};
