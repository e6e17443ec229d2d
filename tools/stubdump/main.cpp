// stubdump: prints the stub tables of both machines as the RPC runtime reads them, and every rule
// that they break. For whoever changes the interface: the tables are written by hand. Ends with 1
// if a rule is broken.
#include <cstdio>

#include "tools/stubdump/walk.h"

namespace {

void Print(const char* heading, const std::vector<std::string>& lines) {
    std::printf("  %s\n", heading);
    for (const std::string& line : lines) {
        std::printf("    %s\n", line.c_str());
    }
}

bool Dump(const StubImage& image) {
    const Walk walk = WalkTables(image);
    std::printf("%s\n", image.title.c_str());
    Print("NDR 2.0", walk.ndr20);
    Print("NDR64", walk.ndr64);
    if (!walk.violations.empty()) {
        Print("broken rules", walk.violations);
    }
    return walk.violations.empty();
}

}  // namespace

int main() {
    const bool x64 = Dump(FormatImage<NdrTarget::kX64>("x64"));
    const bool arm64 = Dump(FormatImage<NdrTarget::kArm64>("ARM64"));
    return x64 && arm64 ? 0 : 1;
}
