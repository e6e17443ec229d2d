// Broken calls: requests whose bytes are changed before they are sent.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>

#include "acceptance/items.h"

namespace {

using Bytes = std::vector<BYTE>;

// A request as NDR 2.0 has it in the buffer of a call.
Bytes RequestBytes(const ContextBytes& context, const SampleCommand& command) {
    Bytes bytes;
    const auto add = [&](const void* data, std::size_t size) {
        const auto* first = static_cast<const BYTE*>(data);
        bytes.insert(bytes.end(), first, first + size);
    };
    const auto add_text = [&](std::wstring_view text) {
        const auto units = static_cast<ULONG>(text.size() + 1);
        // The size, the place of the first unit, the number of units that follow.
        const ULONG counts[] = {units, 0, units};
        add(counts, sizeof(counts));
        add(text.data(), units * sizeof(wchar_t));
    };
    add(&context, sizeof(context));
    add_text(command.name);
    // The flag; at the next multiple of four, the number.
    bytes.resize((bytes.size() + 4) / 4 * 4 + sizeof(long), 1);
    add_text(command.text);
    return bytes;
}

// Changes a byte or a count, cuts the end off or inserts bytes.
void Break(Bytes& bytes, std::mt19937& random) {
    constexpr ULONG kCounts[] = {0, 1, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const std::size_t place = random() % bytes.size();
    const std::size_t aligned = place / 4 * 4;
    switch (random() % 4) {
        case 0:
            bytes[place] = static_cast<BYTE>(random());
            break;
        case 1:
            std::memcpy(&bytes[aligned], &kCounts[random() % std::size(kCounts)],
                        std::min<std::size_t>(4, bytes.size() - aligned));
            break;
        case 2:
            bytes.resize(place + 1);
            break;
        default:
            bytes.insert(bytes.begin() + static_cast<int>(place), random() % 100,
                         static_cast<BYTE>(random()));
    }
}

}  // namespace

void CheckPackets(Run& run) {
    // No change of a byte makes a command of these that stores something.
    constexpr SampleCommand kBases[] = {kSampleCommands[0], kSampleCommands[4], kSampleCommands[6]};
    // Wine answers a number that does not exist, then calls what follows the table of procedures.
    const unsigned long procedures = IsWine() ? 3 : 8;
    const auto seed = static_cast<unsigned>(run.Rounds(static_cast<int>(GetTickCount64()), 1));
    std::mt19937 random(seed);
    const DWORD before = ServiceProcessId();
    const ULONGLONG start = GetTickCount64();
    std::map<DWORD, int> ends;
    DWORD next = 0;
    int sent = 0;
    // The code of an access violation.
    const auto crashed = [&] { return ends.contains(ERROR_NOACCESS); };
    while (next == 0 && !crashed() && sent < run.Rounds(20000, 100) &&
           GetTickCount64() - start < 20000) {
        // Some of the calls close its context.
        const Session session;
        for (int i = 0; i < 10; ++i, ++sent) {
            Bytes bytes = RequestBytes(session.Bytes(), kBases[random() % std::size(kBases)]);
            for (auto times = random() % 3 + 1; times > 0; --times) {
                Break(bytes, random);
            }
            const unsigned long procedure = random() % 8 == 0 ? random() % procedures : kRequest;
            ++ends[session.CallWith(procedure, bytes.data(), bytes.size())];
        }
        next = Session().Ask();
    }
    const DWORD after = ServiceProcessId();
    run.Add(next == 0 && !crashed() && before == after, L"packets",
            L"%d broken calls of seed %u in %llu ms ended with%ls; the next request: %ls; service "
            L"%lu, %lu",
            sent, seed, GetTickCount64() - start, Counts(ends), Outcome(next), before, after);
}
