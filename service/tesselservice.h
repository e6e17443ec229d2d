// The service: starts and stops the RPC server.
#pragma once

#include <windows.h>

#include "service/servicebase.h"
#include "win32/uniquehandle.h"

// Runs the RPC server on a thread of the thread pool. The server listens until the process ends.
class CTesselService : public CServiceBase {
 public:
    // Creates the stop event. Throws the Win32 code as a DWORD if CreateEventW fails.
    CTesselService();
    ~CTesselService() override = default;

    // Submits the start of the RPC server to the thread pool, and returns without waiting for it.
    void OnStart(DWORD argc, wchar_t** argv) override;

    // Unregisters the RPC interface and endpoint. On Windows this waits for requests in progress;
    // see server/rpcserver.h.
    void OnStop() override;

    // Called in console mode, before the RPC server starts.
    void SetRpcStarted() { m_fRpcStarted = true; }

 private:
    // Runs the RPC server; stops the service if it cannot start.
    static void CALLBACK RpcStartWork(PTP_CALLBACK_INSTANCE instance, void* context, PTP_WORK work);

    // Kept: never closed.
    PTP_WORK m_work = nullptr;
    // Kept: never read.
    BOOL m_fStopping = FALSE;
    // Kept: never used.
    Handle m_hStoppedEvent;
    // Kept: never read.
    bool m_fRpcStarted = false;
};
