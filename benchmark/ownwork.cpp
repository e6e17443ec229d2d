// Measures the service's own code in one process: requests go to RemoteRequest, and nobody receives
// the answers. A Windows function that a cheapest request needs is replaced by one that fails.
//
//   ownwork            prints a line for each batch, with tabs between the fields: name, time in
//                      nanoseconds of one unit of work, allocations of one call
//   ownwork count N    for an emulator that logs the address of each instruction: prints the
//                      address of BeginWork, and the name of each kind of work with the number of
//                      its units. Then calls BeginWork before each kind and after the last one, and
//                      does each kind N times, or once if it has many units.
#include <windows.h>
#include <cfgmgr32.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <sys/stat.h>

#include "command/action.h"
#include "diagnostics/logline.h"
#include "document/widetext.h"
#include "interface/tesselservice.h"
#include "settings/registryhelper.h"
#include "tests/support/replacedimport.h"

namespace {

long g_allocations = 0;

CONFIGRET WINAPI NoDevices(PULONG, LPGUID, DEVINSTID_W, ULONG) {
    return CR_FAILURE;
}

int NoStatus(const char*, void*) {
    return -1;
}

}  // namespace

REPLACE_IMPORT(CM_Get_Device_Interface_List_SizeW, NoDevices);
REPLACE_IMPORT(_stat64i32, NoStatus);

void* operator new(std::size_t size) {
    ++g_allocations;
    void* block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void ReportResult(wchar_t* /*command*/, boolean /*flag*/, long /*number*/, wchar_t* /*text*/) {}

namespace {

constexpr wchar_t kNoWork[] = L"REGISTRYHELPER_ISVZWQ";
constexpr int kLongText = 1'000'000;
constexpr int kPiece = 65536;

wchar_t g_text[] = L"text";
wchar_t g_path[] = L"C:\\Windows\\Tessel\\agreement.txt";
wchar_t g_longText[kLongText + 1];
char g_piece[kPiece];

void Request(const wchar_t* command, wchar_t* text = g_text) {
    RemoteRequest(nullptr, command, 1, 7, text);
}

void DoNothing(Answer& /*answer*/) {}

// A kind of work. One call of `run` does `units` units of it.
struct Work {
    const char* name;
    int units;
    void (*run)();
};

const Work kWork[] = {
    {"nothing", 1, [] {}},
    {"log", 1, [] { LogRequest(kNoWork, true, 7, g_text); }},
    {"unknown command", 1, [] { Request(L"UNKNOWN"); }},
    {"handler", 1, [] { RegistryHelperCommand(nullptr, kNoWork, true, 7, g_text); }},
    {"action", 1,
     [] {
         const Command nothing = {kNoWork, DoNothing};
         Answer answer = {true, 7, g_text};
         RunAction(nothing, answer);
     }},
    {"REGISTRYHELPER_ISVZWQ", 1, [] { Request(kNoWork); }},
    {"the same with a text of a million characters", 1, [] { Request(kNoWork, g_longText); }},
    {"COMMONHELPER_ISFILE_EXISTS", 1, [] { Request(L"COMMONHELPER_ISFILE_EXISTS", g_path); }},
    {"MBNHELPER_GETNETWORKMODE", 1, [] { Request(L"MBNHELPER_GETNETWORKMODE"); }},
    {"BLEHELPER_ISBLESUPPORT", 1, [] { Request(L"BLEHELPER_ISBLESUPPORT"); }},
    {"USBPATHCHANGER_SMGETMUICSTATUS", 1, [] { Request(L"USBPATHCHANGER_SMGETMUICSTATUS"); }},
    {"a byte of a document", kPiece, [] { WideText(kPiece).Append({g_piece, kPiece}); }},
};

// Fills the long text, and the piece of a document with lines of 76 bytes.
void PrepareTexts() {
    std::memset(g_longText, 'x', sizeof(wchar_t) * kLongText);
    for (int i = 0; i < kPiece; ++i) {
        g_piece[i] = i % 76 == 74 ? '\r' : i % 76 == 75 ? '\n' : 'x';
    }
}

double Now() {
    LARGE_INTEGER frequency;
    LARGE_INTEGER count;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&count);
    return 1e9 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

void Repeat(const Work& work, long calls) {
    for (long i = 0; i < calls; ++i) {
        work.run();
    }
}

double TimeOf(const Work& work, long calls) {
    const double start = Now();
    Repeat(work, calls);
    return Now() - start;
}

// Batches of half a millisecond: the clock has steps of 100 ns. The time of an empty call is taken
// off.
void MeasureTimes() {
    constexpr double kBatch = 500'000;
    constexpr int kBatches = 40;
    double call = 0;
    for (const Work& work : kWork) {
        long calls = 1;
        while (TimeOf(work, calls) < kBatch) {
            calls *= 2;
        }
        g_allocations = 0;
        Repeat(work, 1);
        const long allocations = g_allocations;
        double times[kBatches];
        std::ranges::generate(times,
                              [&] { return TimeOf(work, calls) / static_cast<double>(calls); });
        if (&work == kWork) {
            std::ranges::sort(times);
            call = times[kBatches / 2];
        }
        for (const double time : times) {
            std::printf("%s\t%.3f\t%ld\n", work.name, (time - call) / work.units, allocations);
        }
    }
}

__attribute__((noinline)) void BeginWork() {
    asm volatile("");
}

void CountInstructions(long calls) {
    const auto calls_of = [=](const Work& work) { return work.units == 1 ? calls : 1; };
    std::printf("%p\n", reinterpret_cast<void*>(&BeginWork));
    for (const Work& work : kWork) {
        std::printf("%s\t%ld\n", work.name, calls_of(work) * work.units);
    }
    std::fflush(stdout);
    for (const Work& work : kWork) {
        BeginWork();
        Repeat(work, calls_of(work));
    }
    BeginWork();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    PrepareTexts();
    if (argc > 2) {
        CountInstructions(_wtoi(argv[2]));
    } else {
        MeasureTimes();
    }
    return 0;
}
