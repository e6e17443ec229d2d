// What the stub tables are held against.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/stubdump/walk.h"

// The tables of this machine with the descriptors of one stub half around them: `served` describes
// the procedures that the half serves, `proxy` is what it hands to NdrClientCall3 for those it
// calls.
StubImage HalfImage(bool is_server,
                    const RPC_SERVER_INTERFACE* served,
                    const MIDL_STUBLESS_PROXY_INFO* proxy);

// Bytes from text: pairs of hexadecimal digits; `*n`, n zero bytes; `@name`, the address of an
// object or function of `image`, 8 bytes; `{x64/ARM64}` and `[server/client]`, what holds for
// `image`; blanks and `|` only part.
std::vector<std::uint8_t> Bytes(std::string text, const StubImage& image = {});

// Holds every object against the bytes written down for it; gives the places that differ.
std::vector<std::string> CheckGolden(const StubImage& image);

// Prints what the tables say, and expects it to be the interface's four procedures in both
// syntaxes, no broken rule and the bytes written down.
void CheckImage(const StubImage& image);

// Changes every byte of every object in turn, in several ways. Expects every change to break a
// check, in the format tables the walk alone; prints how many changes the walk notices.
void CheckMutations(const StubImage& image);
