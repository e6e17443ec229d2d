#include "client/rights/registration.h"

#include "service/serviceidentity.h"

ServiceHandle OpenRegistration(DWORD access) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    return ServiceHandle(manager ? OpenServiceW(manager.get(), kServiceName, access) : nullptr);
}

std::vector<BYTE> QueryConfig(SC_HANDLE service, DWORD level) {
    // The most that the service manager answers.
    std::vector<BYTE> answer(8192);
    DWORD needed = 0;
    if (!QueryServiceConfig2W(service, level, answer.data(), static_cast<DWORD>(answer.size()),
                              &needed)) {
        answer.clear();
    }
    return answer;
}
