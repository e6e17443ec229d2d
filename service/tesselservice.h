// The service: its request channel starts and stops with it.
#pragma once

#include <windows.h>

#include "service/servicebase.h"
#include "win32/uniquehandle.h"

// Ties the RPC server to the service's life. The server listens on a thread of the default thread
// pool for as long as the process lives.
class CTesselService : public CServiceBase {
 public:
    // Creates the stop event. Throws the Win32 code of a failed CreateEventW as a DWORD.
    CTesselService();
    ~CTesselService() override = default;

    // Submits the start of the RPC server to the thread pool and returns at once.
    void OnStart(DWORD argc, wchar_t** argv) override;

    // Unregisters the RPC interface and endpoint. On Windows this waits for requests in progress;
    // see rpc/rpcserver.h. The process ends right after.
    void OnStop() override;

    // Marks the RPC server as started outside the service control manager, for console mode.
    void SetRpcStarted() { m_fRpcStarted = true; }

 private:
    // Runs the RPC server; stops the service if it cannot start.
    static void CALLBACK RpcStartWork(PTP_CALLBACK_INSTANCE instance, void* context, PTP_WORK work);

    // Kept: never waited for and never closed.
    PTP_WORK m_work = nullptr;
    // Kept: written and never read.
    BOOL m_fStopping = FALSE;
    // Kept: never signalled and never waited for.
    Handle m_hStoppedEvent;
    // Kept: written and never read.
    bool m_fRpcStarted = false;
};
