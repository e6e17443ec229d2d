// Tracing, for which Wine's functions do nothing. A session is a file: its state, then its events.
// Any process can write events to it, and any can read them. Sessions have one provider.
#include <windows.h>
#include <evntprov.h>
#include <evntrace.h>
#include <evntcons.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "win32/uniquehandle.h"

namespace {

constexpr wchar_t kFiles[] = L"C:\\windows\\temp\\tracing-";
constexpr DWORD kPollMilliseconds = 20;

struct State {
    GUID provider;
    UCHAR level;
    bool stopped;
};

// One event in the file. The text, with its terminator, follows.
struct StoredEvent {
    EVENT_HEADER header;
    std::uint16_t text_size;
};

// What OpenTraceW gives for a session, or for a copy of its file. Never freed: ProcessTrace may
// still use it after CloseTrace.
struct Consumer {
    HANDLE session;
    PEVENT_RECORD_CALLBACK callback;
    void* context;
    std::atomic<bool> closed;
};

HANDLE OpenFile(const std::wstring& path, DWORD access, DWORD creation) {
    return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, creation, 0, nullptr);
}

bool ReadAt(HANDLE file, DWORD place, void* data, DWORD size) {
    OVERLAPPED from = {};
    from.Offset = place;
    DWORD read = 0;
    return ReadFile(file, data, size, &read, &from) && read == size;
}

bool WriteState(HANDLE file, const State& state) {
    OVERLAPPED start = {};
    DWORD written = 0;
    return WriteFile(file, &state, sizeof(state), &written, &start);
}

// False also for a session that was stopped.
bool ReadState(HANDLE file, State& state) {
    return ReadAt(file, 0, &state, sizeof(state)) && !state.stopped;
}

// The handles of tracing are numbers.
template <typename T>
T* AddressOf(std::uint64_t handle) {
    return reinterpret_cast<T*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

// Passes the event at `place` to the consumer. Returns its size, or 0 if there is none.
DWORD Deliver(const Consumer& consumer, DWORD place) {
    StoredEvent event = {};
    if (!ReadAt(consumer.session, place, &event, sizeof(event))) {
        return 0;
    }
    std::vector<wchar_t> text(event.text_size / sizeof(wchar_t));
    if (!ReadAt(consumer.session, place + sizeof(event), text.data(), event.text_size)) {
        return 0;
    }
    EVENT_RECORD record = {};
    record.EventHeader = event.header;
    record.UserData = text.data();
    record.UserDataLength = event.text_size;
    record.UserContext = consumer.context;
    consumer.callback(&record);
    return sizeof(event) + event.text_size;
}

}  // namespace

extern "C" {

ULONG WINAPI SimulatedEventRegister(LPCGUID provider,
                                    PENABLECALLBACK /*callback*/,
                                    PVOID /*context*/,
                                    PREGHANDLE registration) {
    *registration = reinterpret_cast<REGHANDLE>(new GUID(*provider));
    return ERROR_SUCCESS;
}

ULONG WINAPI SimulatedEventWriteString(REGHANDLE registration,
                                       UCHAR level,
                                       ULONGLONG keyword,
                                       PCWSTR text) {
    const GUID& provider = *AddressOf<GUID>(registration);
    const std::wstring files = kFiles;
    WIN32_FIND_DATAW found = {};
    const UniqueHandle<HANDLE, FindClose, -1> search(
        FindFirstFileW((files + L"*").c_str(), &found));
    for (BOOL more = search ? TRUE : FALSE; more; more = FindNextFileW(search.get(), &found)) {
        const std::wstring path = files.substr(0, files.rfind(L'\\') + 1) + found.cFileName;
        const FileHandle session(OpenFile(path, GENERIC_READ | FILE_APPEND_DATA, OPEN_EXISTING));
        State state = {};
        if (!ReadState(session.get(), state) || state.provider != provider ||
            (state.level != 0 && level > state.level)) {
            continue;
        }
        StoredEvent event = {};
        event.header.Size = sizeof(event.header);
        event.header.Flags = EVENT_HEADER_FLAG_STRING_ONLY | EVENT_HEADER_FLAG_64_BIT_HEADER;
        event.header.ThreadId = GetCurrentThreadId();
        event.header.ProcessId = GetCurrentProcessId();
        GetSystemTimeAsFileTime(reinterpret_cast<FILETIME*>(&event.header.TimeStamp));
        event.header.ProviderId = provider;
        event.header.EventDescriptor.Level = level;
        event.header.EventDescriptor.Keyword = keyword;
        event.text_size = static_cast<std::uint16_t>((std::wcslen(text) + 1) * sizeof(wchar_t));
        std::vector<BYTE> bytes(sizeof(event) + event.text_size);
        std::memcpy(bytes.data(), &event, sizeof(event));
        std::memcpy(bytes.data() + sizeof(event), text, event.text_size);
        DWORD written = 0;
        WriteFile(session.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }
    return ERROR_SUCCESS;
}

ULONG WINAPI SimulatedStartTrace(PTRACEHANDLE session,
                                 LPCWSTR name,
                                 PEVENT_TRACE_PROPERTIES /*properties*/) {
    FileHandle file(
        OpenFile(kFiles + std::wstring(name), GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS));
    State state = {};
    if (!file) {
        return GetLastError();
    }
    if (ReadState(file.get(), state)) {
        return ERROR_ALREADY_EXISTS;
    }
    SetEndOfFile(file.get());
    if (!WriteState(file.get(), {})) {
        return GetLastError();
    }
    *session = reinterpret_cast<TRACEHANDLE>(file.release());
    return ERROR_SUCCESS;
}

ULONG WINAPI SimulatedEnableTrace(TRACEHANDLE session,
                                  LPCGUID provider,
                                  ULONG code,
                                  UCHAR level,
                                  ULONGLONG /*any_keyword*/,
                                  ULONGLONG /*all_keywords*/,
                                  ULONG /*timeout*/,
                                  PENABLE_TRACE_PARAMETERS /*parameters*/) {
    const bool enable = code == EVENT_CONTROL_CODE_ENABLE_PROVIDER;
    const State state = {enable ? *provider : GUID(), level, false};
    return WriteState(AddressOf<void>(session), state) ? ERROR_SUCCESS : GetLastError();
}

ULONG WINAPI SimulatedControlTrace(TRACEHANDLE session,
                                   LPCWSTR name,
                                   PEVENT_TRACE_PROPERTIES /*properties*/,
                                   ULONG code) {
    const FileHandle file(session != 0 ? AddressOf<void>(session)
                                       : OpenFile(kFiles + std::wstring(name),
                                                  GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING));
    State state = {};
    if (!ReadState(file.get(), state)) {
        return ERROR_WMI_INSTANCE_NOT_FOUND;
    }
    if (code != EVENT_TRACE_CONTROL_STOP) {
        return ERROR_NOT_SUPPORTED;
    }
    state.stopped = true;
    return WriteState(file.get(), state) ? ERROR_SUCCESS : GetLastError();
}

TRACEHANDLE WINAPI SimulatedOpenTrace(PEVENT_TRACE_LOGFILEW source) {
    const bool is_file = source->LogFileName != nullptr;
    FileHandle file(
        OpenFile(is_file ? source->LogFileName : kFiles + std::wstring(source->LoggerName),
                 GENERIC_READ, OPEN_EXISTING));
    State state = {};
    if (!is_file && !ReadState(file.get(), state)) {
        SetLastError(ERROR_WMI_INSTANCE_NOT_FOUND);
        file.reset();
    }
    if (!file) {
        return INVALID_PROCESSTRACE_HANDLE;
    }
    return reinterpret_cast<TRACEHANDLE>(
        new Consumer{file.release(), source->EventRecordCallback, source->Context, false});
}

// The type is that of Windows. NOLINTNEXTLINE(readability-non-const-parameter)
ULONG WINAPI SimulatedProcessTrace(PTRACEHANDLE consumers,
                                   ULONG count,
                                   LPFILETIME /*start*/,
                                   LPFILETIME /*end*/) {
    if (count != 1 || *consumers == INVALID_PROCESSTRACE_HANDLE) {
        return ERROR_INVALID_HANDLE;
    }
    const Consumer& consumer = *AddressOf<Consumer>(*consumers);
    DWORD place = sizeof(State);
    for (bool runs = true; runs;) {
        State state = {};
        // Also delivers what was written until the end.
        runs = ReadState(consumer.session, state) && !consumer.closed;
        for (DWORD size = 0; (size = Deliver(consumer, place)) != 0; place += size) {
        }
        Sleep(runs ? kPollMilliseconds : 0);
    }
    return ERROR_SUCCESS;
}

ULONG WINAPI SimulatedCloseTrace(TRACEHANDLE consumer) {
    if (consumer == INVALID_PROCESSTRACE_HANDLE) {
        return ERROR_INVALID_HANDLE;
    }
    AddressOf<Consumer>(consumer)->closed = true;
    return ERROR_SUCCESS;
}

}  // extern "C"
