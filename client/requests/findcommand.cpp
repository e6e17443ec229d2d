#include "client/requests/findcommand.h"

#include <algorithm>

const CommandHelp* FindCommandHelp(std::wstring_view command) {
    for (const auto& family : kCommandHelp) {
        const auto line = std::ranges::find(family, command, &CommandHelp::name);
        if (line != family.end()) {
            return &*line;
        }
    }
    return nullptr;
}
