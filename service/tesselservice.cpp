#include "service/tesselservice.h"

#include "rpc/rpcserver.h"
#include "service/logline.h"

CTesselService::CTesselService() : m_hStoppedEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (!m_hStoppedEvent) {
        throw GetLastError();
    }
}

void CTesselService::OnStart(DWORD /*argc*/, wchar_t** /*argv*/) {
    // Kept: here and in OnStop, a name that nothing has.
    WriteEventLogEntry(L"CppWindowsService in OnStart", kEventLevelInformation);
    // Kept: not checked.
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
    auto* service = static_cast<CTesselService*>(context);
    if (RpcServerStart() == RPC_S_OK) {
        return;
    }
    // Kept: nothing says why.
    //
    // Stopped must be the last report, or the service control manager would hold a dead service for
    // a running one; and a stop that came meanwhile may have ended the service and its object.
    if (BeginEnding()) {
        service->StopClaimed();
    }
}
