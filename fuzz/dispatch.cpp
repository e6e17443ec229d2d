// The routing of command strings.
#include <set>
#include <string>

#include "fuzz/input.h"
#include "rpc/commandlists.h"

namespace {

const std::span<const wchar_t* const> kLists[] = {kRegistryHelperCommands, kCommonHelperCommands,
                                                  kMbnHelperCommands, kBleHelperCommands,
                                                  kUsbPathChangerCommands};

std::set<std::wstring> AllCommands() {
    std::set<std::wstring> commands;
    for (const auto& list : kLists) {
        commands.insert(list.begin(), list.end());
    }
    Require(commands.size() == 37);
    return commands;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::set<std::wstring> commands = AllCommands();
    const std::wstring command = Strings(data, size)[0];
    std::size_t takers = 0;
    for (const auto& list : kLists) {
        if (ListsCommand(list, command.c_str())) {
            // Every command of a family begins as its first one does.
            const std::wstring first = list[0];
            Require(command.starts_with(first.substr(0, first.find(L'_') + 1)));
            ++takers;
        }
    }
    Require(takers == commands.count(command));
    return 0;
}
