#include <gtest/gtest.h>

#include <cstdio>

#include "tests/rpc/stubtables.h"

void CheckImage(const StubImage& image) {
    static const std::vector<std::string> kProcedures = {
        "call 0 by handle_t: [out] context*@8; stack 16",
        "call 1 by context: [in, out] context* not null@0; stack 8",
        "call 2 by context: [in] context not null@0 [in] string@8 [in] boolean@16 [in] long@24 "
        "[in] string@32; stack 40",
        "callback 0 by the call in progress: [in] string@0 [in] boolean@8 [in] long@16 "
        "[in] string@24; stack 32",
    };
    const Walk walk = WalkTables(image);
    for (const auto* syntax : {&walk.ndr20, &walk.ndr64}) {
        std::printf("%s, %s\n", image.title.c_str(), syntax == &walk.ndr20 ? "NDR 2.0" : "NDR64");
        for (const std::string& procedure : *syntax) {
            std::printf("    %s\n", procedure.c_str());
        }
        EXPECT_EQ(*syntax, kProcedures);
    }
    EXPECT_EQ(walk.violations, std::vector<std::string>());
    EXPECT_EQ(CheckGolden(image), std::vector<std::string>());
}

void CheckMutations(const StubImage& image) {
    StubImage damaged = image;
    ASSERT_TRUE(WalkTables(damaged).violations.empty() && CheckGolden(damaged).empty());
    int total = 0, noticed = 0, noticed_by_walk = 0;
    for (std::size_t object = 0; object < damaged.objects.size(); ++object) {
        auto& [name, address, bytes] = damaged.objects[object];
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const std::uint8_t right = bytes[i];
            for (int change : {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0xff}) {
                bytes[i] = static_cast<std::uint8_t>(right ^ change);
                const bool walked = !WalkTables(damaged).violations.empty();
                const bool differs = !CheckGolden(damaged).empty();
                ++total;
                noticed += walked || differs;
                noticed_by_walk += walked;
                EXPECT_TRUE(differs && (walked || object >= image.format_tables))
                    << name << "[" << i << "] ^ " << change;
            }
            bytes[i] = right;
        }
    }
    std::printf("%s: %d changes, %d noticed, %d by the walk alone\n", image.title.c_str(), total,
                noticed, noticed_by_walk);
}
