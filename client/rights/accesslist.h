// Reads and changes the access lists of registry keys and files. SIDs are texts, "S-1-...".
#pragma once

#include <windows.h>

#include <span>
#include <string>
#include <vector>

#include "win32/uniquehandle.h"

// The owner and the access list of an object. `acl` points into `descriptor`. It is null if the
// object has no access list, which gives everyone all access.
struct ObjectSecurity {
    LocalMemory descriptor;
    std::wstring owner;
    ACL* acl = nullptr;
};

// Read the security of a key that is open with READ_CONTROL, or of a file or folder. Return a Win32
// error, 0 on success. Call GetSecurityInfo and GetNamedSecurityInfoW.
DWORD ReadKeySecurity(HKEY key, ObjectSecurity& security);
DWORD ReadFileSecurity(const std::wstring& path, ObjectSecurity& security);

// Returns the rights of KEY_ALL_ACCESS that a process does not have. `token` lists the SIDs of its
// token. Evaluates the entries in their order, also those that deny. Ignores entries that only
// subkeys inherit, conditional entries that allow, and the rights of the owner. 0 if `acl` is null.
ACCESS_MASK MissingKeyRights(const ACL* acl, std::span<const std::wstring> token);

// Returns the SIDs that may change a file, a folder or later files in the folder: the owner and
// each SID that an entry allows to write. Leaves out SYSTEM, administrators, TrustedInstaller,
// CREATOR OWNER and OWNER RIGHTS. Ignores entries that deny. Everyone if there is no access list.
std::vector<std::wstring> OtherWriters(const ObjectSecurity& security);

// Returns whether one entry gives `sid` full control of the key and of new subkeys.
bool HasFullControl(const ACL& acl, const std::wstring& sid);

// Stores in `changed` a copy of `acl` that gives `sid` full control of the key and of new subkeys.
// One entry replaces the key's own entries for `sid`; all other entries stay. Returns a Win32
// error, 0 on success. Calls SetEntriesInAclW.
DWORD AddFullControl(ACL& acl, const std::wstring& sid, LocalAcl& changed);

// Removes from `acl` the entries that give `sid` full control. Returns false if there are none.
bool RemoveFullControl(ACL& acl, const std::wstring& sid);

// Replaces the access list of a key that is open with WRITE_DAC. `security` is the result of
// ReadKeySecurity; its inheritance flags are kept. Subkeys keep their access lists. Returns a Win32
// error, 0 on success. Calls RegSetKeySecurity.
DWORD WriteKeyAcl(HKEY key, const ObjectSecurity& security, ACL* acl);
