// ReportResult of the simulated notebook: blocks the handler as the callback does, and fails with a
// structured exception when the client is gone, as the callback does.
#include "rpc/stub/tesselservice.h"

#include <windows.h>
#include <rpc.h>
#include <rpcdcep.h>

#include "simulator/wine/answerchannel.h"
#include "win32/handle.h"

namespace {

const RPC_CLIENT_INTERFACE kAnswerChannelClient = {sizeof(RPC_CLIENT_INTERFACE),
                                                   kAnswerChannelId,
                                                   kNdr20Syntax,
                                                   nullptr,
                                                   0,
                                                   nullptr,
                                                   0,
                                                   nullptr,
                                                   0};
const MIDL_STUB_DESC kStub = AnswerChannelStub(&kAnswerChannelClient);

// A thread answers one client many times. The binding belongs to the thread, so a failing call does
// not lose it. The client's process is held open with it, which keeps its id from any other.
class ClientBinding {
 public:
    ClientBinding() = default;
    ClientBinding(const ClientBinding&) = delete;
    ClientBinding& operator=(const ClientBinding&) = delete;
    ~ClientBinding() { Free(); }

    RPC_BINDING_HANDLE To(unsigned long process_id) {
        if (m_binding == nullptr || process_id != m_processId) {
            Free();
            m_process.Reset(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
            if (!m_process) {
                RpcRaiseException(RPC_S_SERVER_UNAVAILABLE);
            }
            std::wstring address = L"ncalrpc:[" + AnswerEndpoint(m_process.Get()) + L"]";
            RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address.data()), &m_binding);
            m_processId = process_id;
        }
        return m_binding;
    }

 private:
    void Free() {
        if (m_binding != nullptr) {
            RpcBindingFree(&m_binding);
        }
    }

    Handle m_process;
    RPC_BINDING_HANDLE m_binding = nullptr;
    unsigned long m_processId = 0;
};

void WINAPI FreeClientBinding(void* binding) {
    delete static_cast<ClientBinding*>(binding);
}

const DWORD g_bindingSlot = FlsAlloc(&FreeClientBinding);

// Not thread_local: mingw's runtime frees that storage before it runs the destructors of what is in
// it.
ClientBinding& ThreadBinding() {
    auto* binding = static_cast<ClientBinding*>(FlsGetValue(g_bindingSlot));
    if (binding == nullptr) {
        binding = new ClientBinding;
        FlsSetValue(g_bindingSlot, binding);
    }
    return *binding;
}

RPC_BINDING_HANDLE BindingToCaller() {
    unsigned long process_id = 0;
    const RPC_STATUS status = I_RpcBindingInqLocalClientPID(nullptr, &process_id);
    if (status != RPC_S_OK) {
        RpcRaiseException(status);
    }
    return ThreadBinding().To(process_id);
}

}  // namespace

void ReportResult(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    NdrClientCall2(&kStub, AnswerChannelProcString(), BindingToCaller(), command,
                   static_cast<boolean>(flag), number, text);
}
