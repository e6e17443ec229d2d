// Whether a path exists.
#pragma once

// Whether `path` names a file or a folder that the C runtime can examine. Each UTF-16 unit of it is
// cut to its low eight bits first. A file of 2 GB or more cannot be examined. Throws
// std::bad_alloc. Calls _stat64i32 of the universal C runtime.
bool PathExists(const wchar_t* path);
