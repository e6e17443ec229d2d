#include "service/tesselservice.h"

#include "diagnostics/logline.h"
#include "server/rpcserver.h"

CTesselService::CTesselService() : m_hStoppedEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (!m_hStoppedEvent) {
        throw GetLastError();
    }
}

void CTesselService::OnStart(DWORD /*argc*/, wchar_t** /*argv*/) {
    // Kept: nothing has this name.
    WriteEventLogEntry(L"CppWindowsService in OnStart", kEventLevelInformation);
    // Kept: the result is not checked.
    m_work = CreateThreadpoolWork(RpcStartWork, this, nullptr);
    SubmitThreadpoolWork(m_work);
}

void CTesselService::OnStop() {
    WriteEventLogEntry(L"CppWindowsService in OnStop", kEventLevelInformation);
    LogLine("Service OnStop");
    m_fStopping = TRUE;
    RpcServerDisconnect();
    LogLine("Service OnStop end");
}

void CALLBACK CTesselService::RpcStartWork(PTP_CALLBACK_INSTANCE /*instance*/,
                                           void* context,
                                           PTP_WORK /*work*/) {
    if (RpcServerStart() != RPC_S_OK) {
        // Kept: the cause is not reported.
        StopUnlessEnding(static_cast<CTesselService*>(context));
    }
}
