#include "client/check/check.h"

#include <windows.h>
#include <bcrypt.h>
#include <winevt.h>

#include <array>
#include <iterator>
#include <vector>

#include "client/finding.h"
#include "client/output.h"
#include "client/serviceinfo.h"
#include "client/textfile.h"
#include "interface/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

using EventHandle = UniqueHandle<EVT_HANDLE, EvtClose>;

// BCRYPT_SHA256_ALG_HANDLE, which not every header set has.
const BCRYPT_ALG_HANDLE kSha256 = reinterpret_cast<BCRYPT_ALG_HANDLE>(0x41);

constexpr wchar_t kDumpSettings[] =
    L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps";

void PrintFailure(const std::wstring& what, DWORD error) {
    PrintLine(what + L": not known here: " + ErrorText(error));
}

void PrintProgram(const std::wstring& path) {
    auto bytes = ReadBytes(path);
    if (!bytes) {
        PrintFailure(path, GetLastError());
        return;
    }
    std::array<BYTE, 32> hash = {};
    BCryptHash(kSha256, nullptr, 0, reinterpret_cast<BYTE*>(bytes->data()),
               static_cast<ULONG>(bytes->size()), hash.data(), hash.size());
    std::wstring line = path + L": version " + FileVersion(path) + L", " +
                        std::to_wstring(bytes->size()) + L" bytes, SHA-256 ";
    for (const BYTE byte : hash) {
        line += L"0123456789abcdef"[byte >> 4];
        line += L"0123456789abcdef"[byte & 0xF];
    }
    PrintLine(line);
}

// Returns a value of HKEY_LOCAL_MACHINE as text: a number, a text, or the size of any other type.
// Empty if there is no such value.
std::wstring ValueText(const wchar_t* key, const wchar_t* name) {
    DWORD type = REG_NONE;
    std::array<wchar_t, 1024> data = {};
    DWORD size = sizeof(data);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_ANY, &type, data.data(), &size) !=
        ERROR_SUCCESS) {
        return {};
    }
    return type == REG_DWORD ? std::to_wstring(*reinterpret_cast<const DWORD*>(data.data()))
           : type == REG_SZ || type == REG_EXPAND_SZ ? data.data()
                                                     : std::to_wstring(size) + L" bytes";
}

void PrintRegistration() {
    const std::wstring path = L"SYSTEM\\CurrentControlSet\\Services\\" + std::wstring(kServiceName);
    RegistryKey key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put());
    std::array<wchar_t, 256> name = {};
    DWORD units = name.size();
    for (DWORD i = 0; RegEnumValueW(key.get(), i, name.data(), &units, nullptr, nullptr, nullptr,
                                    nullptr) == ERROR_SUCCESS;
         ++i, units = name.size()) {
        PrintLine(name.data() + (L": " + ValueText(path.c_str(), name.data())));
    }
}

// Prints the last 20 events of a log that the query selects, newest first, as XML.
void PrintEvents(const wchar_t* log, const wchar_t* query) {
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    const EventHandle found(
        EvtQuery(nullptr, log, query, EvtQueryChannelPath | EvtQueryReverseDirection));
    if (!found) {
        PrintFailure(log, GetLastError());
        return;
    }
    EventHandle event;
    DWORD count = 0;
    for (int i = 0; i < 20 && EvtNext(found.get(), 1, event.put(), INFINITE, 0, &count); ++i) {
        std::vector<wchar_t> xml(16384);
        const auto size = static_cast<DWORD>(xml.size() * sizeof(wchar_t));
        DWORD used = 0;
        DWORD properties = 0;
        if (EvtRender(nullptr, event.get(), EvtRenderEventXml, size, xml.data(), &used,
                      &properties)) {
            PrintLine(xml.data());
        }
    }
    PrintLine(log + std::wstring(L": end"));
}

void PrintDumps() {
    const std::wstring own = kDumpSettings + std::wstring(L"\\tessel-service.exe");
    std::wstring folder = ValueText(own.c_str(), L"DumpFolder");
    folder = folder.empty() ? ValueText(kDumpSettings, L"DumpFolder") : folder;
    if (folder.empty()) {
        folder = L"C:\\Windows\\ServiceProfiles\\LocalService\\AppData\\Local\\CrashDumps";
    }
    PrintLine(L"DumpType for the service: " + ValueText(own.c_str(), L"DumpType") +
              L", for all programs: " + ValueText(kDumpSettings, L"DumpType"));
    WIN32_FIND_DATAW file = {};
    const UniqueHandle<HANDLE, FindClose, -1> files(
        FindFirstFileW((folder + L"\\tessel*.dmp").c_str(), &file));
    if (!files) {
        PrintLine(folder + L": " + ErrorText(GetLastError()));
        return;
    }
    do {
        PrintLine(folder + L"\\" + file.cFileName + L": " + std::to_wstring(file.nFileSizeLow) +
                  L" bytes, " + TimeText(file.ftLastWriteTime));
    } while (FindNextFileW(files.get(), &file));
}

}  // namespace

bool Report(const Options& options) {
    const FileHandle file(CreateFileW(options.report.c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                      nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        PrintErrorLine(L"tesselctl: " + options.report + L": " + ErrorText(GetLastError()));
        return false;
    }
    KeepLinesIn(file.get(), true);
    PrintLine(L"Report of tesselctl " + FileVersion(OwnPath()));
    PrintLine(L"\n== System");
    PrintLine(SystemText());
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    PrintLine(L"Now: " + TimeText(now));
    PrintLine(L"\n== Check");
    const auto process = Check(options).process;
    PrintLine(L"\n== Registration");
    PrintRegistration();
    PrintLine(L"\n== Process and programs");
    if (process) {
        PrintLine(L"running from " + process->image + L" since " + TimeText(process->started));
    }
    PrintProgram(OwnPath());
    PrintProgram(FolderOf(OwnPath()) + L"\\tessel-service.exe");
    PrintLine(L"\n== Events of the service control manager");
    PrintEvents(L"System",
                L"*[System[Provider[@Name='Service Control Manager']] and "
                L"EventData[Data='Tessel Service']]");
    PrintLine(L"\n== Crashes and hangs");
    PrintEvents(L"Application", L"*[EventData[Data='tessel-service.exe' or Data='tesselctl.exe']]");
    PrintLine(L"\n== Crash dumps");
    PrintDumps();
    KeepLinesIn(nullptr);
    PrintLine(L"The report is in " + options.report);
    return true;
}
