// Tests whether a path exists.
#pragma once

// Returns whether `path` names a file or a folder that the C runtime can examine. Uses only the low
// eight bits of each UTF-16 unit. A file of 2 GB or more cannot be examined. Throws std::bad_alloc.
// Calls _stat64i32 of the universal C runtime.
bool PathExists(const wchar_t* path);
