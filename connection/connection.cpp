#include "connection/connection.h"

#include "connection/guardedcall.h"
#include "win32/rpctext.h"

Connection::Connection(const wchar_t* address, const ClientStub& stub)
    : m_stub(stub),
      m_status(static_cast<DWORD>(RpcBindingFromStringBindingW(RpcText(address), &m_binding))) {
    if (m_status == ERROR_SUCCESS) {
        m_status = StatusOf([this] { m_stub.open(m_binding, &m_context); });
    }
}

Connection::~Connection() {
    if (m_context != nullptr) {
        Close();
    }
    if (m_binding != nullptr) {
        RpcBindingFree(&m_binding);
    }
}

DWORD Connection::Send(const wchar_t* command, bool flag, long number, const wchar_t* text) const {
    if (m_status != ERROR_SUCCESS) {
        return m_status;
    }
    return StatusOf([=, this] {
        // The service overwrites only its own copy of the text.
        m_stub.request(m_context, command, static_cast<boolean>(flag), number,
                       const_cast<wchar_t*>(text));
    });
}

DWORD Connection::Send(const RequestValues& request) const {
    return Send(request.command.c_str(), request.flag, request.number, request.text.c_str());
}

DWORD Connection::Close() {
    const DWORD status = StatusOf([this] { m_stub.close(&m_context); });
    if (m_context != nullptr) {
        StatusOf([this] { RpcSsDestroyClientContext(&m_context); });
    }
    return status;
}
