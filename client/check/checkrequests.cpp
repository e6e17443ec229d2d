#include "client/check/checkrequests.h"

#include <windows.h>
#include <cfgmgr32.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bledevice/controldevice.h"
#include "client/requests/answers.h"
#include "client/requests/findcommand.h"
#include "client/requests/requesttimes.h"
#include "connection/connection.h"
#include "interface/endpoint.h"
#include "win32/uniquehandle.h"

using enum Status;

namespace {

constexpr std::chrono::seconds kTimeLimit(30);
// The time of the first one does not count.
constexpr std::size_t kEchoes = 21;

// What happened until the last request, or until the service did not answer in time.
struct Progress {
    bool opened = false;
    // One for each request that the service was done with; without a command if it did not answer.
    std::vector<RequestValues> answers;
    RequestTimes times;
    // ERROR_SUCCESS, the status of the call that failed, or WAIT_TIMEOUT while one is in progress.
    DWORD status = WAIT_TIMEOUT;
};

// What the thread that sends shares with the thread that waits.
struct Conversation {
    std::mutex lock;
    std::condition_variable changed;
    Progress progress;
    bool ended = false;
    // To the request in progress.
    RequestValues answer;
};

// Returns the status of the last call. The connection is closed then.
DWORD SendAll(Conversation& shared, const std::vector<RequestValues>& requests) {
    const Connection connection;
    DWORD status = connection.Status();
    {
        const std::lock_guard guard(shared.lock);
        shared.progress.opened = status == ERROR_SUCCESS;
    }
    for (std::size_t i = 0; i < requests.size() && status == ERROR_SUCCESS; ++i) {
        const std::uint64_t start = MicrosecondsNow();
        status = connection.Send(requests[i]);
        const std::lock_guard guard(shared.lock);
        if (status == ERROR_SUCCESS) {
            AddTimeSince(start, shared.progress.times);
            shared.progress.answers.push_back(std::exchange(shared.answer, {}));
        }
        shared.changed.notify_one();
    }
    return status;
}

// Sends the requests from a thread of its own. Does not wait for that thread any more if the
// service does not answer in time: the status is then WAIT_TIMEOUT.
Progress CarryOut(std::vector<RequestValues> requests) {
    const auto shared = std::make_shared<Conversation>();
    HandleAnswers([shared](const RequestValues& answer) {
        const std::lock_guard guard(shared->lock);
        shared->answer = answer;
    });
    std::thread sender([shared, requests = std::move(requests)] {
        const DWORD status = SendAll(*shared, requests);
        const std::lock_guard guard(shared->lock);
        shared->progress.status = status;
        shared->ended = true;
        shared->changed.notify_one();
    });
    std::unique_lock guard(shared->lock);
    const Progress& progress = shared->progress;
    bool moves = true;
    while (!shared->ended && moves) {
        moves = shared->changed.wait_for(guard, kTimeLimit, [&, done = progress.answers.size()] {
            return shared->ended || progress.answers.size() != done;
        });
    }
    Progress result = progress;
    const bool ended = shared->ended;
    guard.unlock();
    if (ended) {
        // The program must not end at the same time as the thread.
        sender.join();
    } else {
        sender.detach();
    }
    return result;
}

void AddFailure(Findings& findings, const wchar_t* item, DWORD status) {
    findings.Add(kFault, item,
                 status == WAIT_TIMEOUT ? L"no answer in 30 seconds" : ErrorText(status),
                 DescribeFailure(status).advice);
}

using Answers = std::span<const RequestValues>;

const RequestValues kEcho = {L"REGISTRYHELPER_ISVZWQ", true, 7, L"check"};

void CheckEchoes(Findings& findings, Answers answers, const RequestTimes& all) {
    const auto same = std::ranges::count(answers, kEcho);
    RequestTimes times(all.begin() + 1, all.begin() + kEchoes);
    findings.Check(same == kEchoes, kFault, L"requests.answer",
                   std::to_wstring(same) + L" of " + std::to_wstring(kEchoes) +
                       L" answered as sent; median " + Milliseconds(Percentile(times, 50)) +
                       L", longest " + Milliseconds(Percentile(times, 100)),
                   L"use both programs of one release");
}

struct ReadyState {
    Status status;
    const wchar_t* words;
    const wchar_t* advice;
};

// By MBN_READY_STATE.
constexpr ReadyState kReadyStates[] = {
    {kWarning, L"off, no modem, or Windows does not know yet",
     L"after a start of the notebook, wait a minute and check again\n"
     L"turn it on; this shows what Windows sees of it: netsh mbn show interfaces\n"
     L"on a model without a modem: .\\tesselctl --check --without modem"},
    {kOk, L"ready", L""},
    {kWarning, L"no SIM card", L"insert one"},
    {kFault, L"the SIM card is bad", L"insert another one"},
    {kFault, L"the modem has failed", L"restart the notebook"},
    {kWarning, L"not activated", L"ask the network operator to activate the subscription"},
    {kWarning, L"locked", L"enter the PIN of the SIM card"},
    {kFault, L"blocked", L"enter the PUK of the SIM card"},
    {kWarning, L"no profile on the eSIM", L"download one"},
};

constexpr const wchar_t* kIdentities[] = {
    L"MBNHELPER_GETSIMICCID",
    L"MBNHELPER_GETSUBSCRIBERID",
    L"MBNHELPER_GETHOMEPROVIDERID",
    L"MBNHELPER_GETHOMEPROVIDERNAME",
};
const std::wstring kPadding(kPaddingLength, L' ');

void CheckModem(Findings& findings, Answers answers) {
    const long state = answers[0].number;
    const bool known = state >= 0 && state < static_cast<long>(std::size(kReadyStates));
    const ReadyState& ready = known ? kReadyStates[state] : ReadyState{kWarning, L"not known", L""};
    findings.Add(ready.status, L"modem.state", std::to_wstring(state) + L": " + ready.words,
                 ready.advice);
    if (state == 0) {
        return;
    }
    // Does not show the identities: findings are sent to other people.
    std::wstring none;
    for (std::size_t i = 0; i < std::size(kIdentities); ++i) {
        const std::wstring& text = answers[i + 1].text;
        none += text.empty() || text == kPadding ? L" " + std::wstring(kIdentities[i]) : L"";
    }
    findings.Check(none.empty(), kWarning, L"modem.identity",
                   none.empty() ? L"of card, subscriber and home provider" : L"none from" + none);
}

// Reads the list of the control devices that are present: paths, each with a terminator, and one
// more terminator.
CONFIGRET ListDevices(std::vector<wchar_t>& list) {
    GUID device_class = kControlDeviceClass;
    ULONG length = 0;
    CONFIGRET result = CM_Get_Device_Interface_List_SizeW(&length, &device_class, nullptr,
                                                          CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
    if (result == CR_SUCCESS) {
        list.resize(std::max(length, 1UL));
        result = CM_Get_Device_Interface_ListW(&device_class, nullptr, list.data(), length,
                                               CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
    }
    return result;
}

// Checks why the service found no switch (`asked`), or whether there is a device if it was not
// reached.
void LookForDevice(Findings& findings, bool asked) {
    constexpr wchar_t kItem[] = L"device";
    std::vector<wchar_t> list;
    if (const CONFIGRET listed = ListDevices(list); listed != CR_SUCCESS) {
        findings.Add(kNotHere, kItem,
                     L"not known here: configuration manager error " + std::to_wstring(listed));
        return;
    }
    const auto count = std::ranges::count(list, L'\0') - 1;
    const std::wstring more = std::to_wstring(count) + L" are present; the service opens ";
    if (list.front() == L'\0') {
        findings.Add(kWarning, kItem,
                     L"none of the class " + GuidText(kControlDeviceClass) + L" is present",
                     L"install the driver of the control device\n"
                     L"on a model without one: .\\tesselctl --check --without device");
    } else if (!asked) {
        findings.Add(kNotHere, kItem, L"present; the service was not reached");
    } else if (list.size() > kControlDeviceListUnits) {
        findings.Add(kFault, kItem,
                     more + L"none, because their list is longer than " +
                         std::to_wstring(kControlDeviceListUnits) + L" characters",
                     L"remove the devices that are not the control device");
    } else if (count > 1) {
        findings.Add(kFault, kItem, more + L"the first and gets no switch from it: " + list.data(),
                     L"if this is not the control device, remove it; else check its driver");
    } else {
        findings.Add(kFault, kItem, L"present, but the service gets no switch from it",
                     L"check its driver; NT AUTHORITY\\LocalService must be able to open it for "
                     L"reading and writing");
    }
}

// Only one question: a device that refuses it costs the service a handle.
void CheckDevice(Findings& findings, Answers answers) {
    if (answers[0].number == 0) {
        LookForDevice(findings, true);
    } else {
        findings.Add(kOk, L"device", L"present, has a switch");
    }
}

// A group of requests, and the check of their answers.
struct Question {
    const wchar_t* item;
    std::vector<RequestValues> requests;
    std::function<void(Findings& findings, Answers answers)> check;
};

}  // namespace

bool CheckRequests(Findings& findings, bool stopped, const Without& without) {
    Progress progress;
    std::vector<Question> questions = {
        {L"requests.answer", std::vector<RequestValues>(kEchoes, kEcho),
         [&](Findings& all, Answers answers) { CheckEchoes(all, answers, progress.times); }}};
    if (!without.modem) {
        questions.push_back({L"modem.state", {{L"MBNHELPER_CHECKINTERFACE"}}, CheckModem});
        for (const wchar_t* command : kIdentities) {
            questions.back().requests.push_back({command, false, 0, kPadding});
        }
    }
    if (!without.device) {
        questions.push_back({L"device", {{L"BLEHELPER_ISBLESUPPORT"}}, CheckDevice});
    }
    std::vector<RequestValues> requests;
    for (const Question& question : questions) {
        requests.insert(requests.end(), question.requests.begin(), question.requests.end());
    }
    progress = CarryOut(std::move(requests));
    if (!progress.opened) {
        AddFailure(findings, L"requests.open", progress.status);
        if (!without.device) {
            LookForDevice(findings, false);
        }
        return false;
    }
    findings.Check(
        !stopped, kFault, L"requests.open",
        kStringBinding +
            std::wstring(stopped ? L", of another process: the service is stopped" : L""),
        L"end that process; if it is not a tessel-service -console, find out what it is");
    Answers answers = progress.answers;
    for (const Question& question : questions) {
        if (answers.size() < question.requests.size()) {
            AddFailure(findings, question.item, progress.status);
            break;
        }
        question.check(findings, answers.first(question.requests.size()));
        answers = answers.subspan(question.requests.size());
    }
    return true;
}
