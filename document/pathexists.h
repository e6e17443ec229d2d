// Whether there is something at a path.
#pragma once

// Whether `path`, each of its UTF-16 units reduced to its low eight bits, names a file or a folder
// that the C runtime can examine: one of 2 GB or more it cannot. Throws std::bad_alloc. Calls
// _stat64i32 of the universal runtime.
bool PathExists(const wchar_t* path);
