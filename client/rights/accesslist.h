// Access lists of registry keys and files: who gets which rights, and full control for one SID.
// SIDs are texts, "S-1-...".
#pragma once

#include <windows.h>

#include <span>
#include <string>
#include <vector>

#include "win32/uniquehandle.h"

// Owner and access list of an object. `acl` points into `descriptor`; it is null if the object has
// no list.
struct ObjectSecurity {
    LocalMemory descriptor;
    std::wstring owner;
    ACL* acl = nullptr;
};

// Read the security of a key that is open for READ_CONTROL, or of a file or folder. They return a
// Win32 error, 0 for none, and call GetSecurityInfo and GetNamedSecurityInfoW.
DWORD ReadKeySecurity(HKEY key, ObjectSecurity& security);
DWORD ReadFileSecurity(const std::wstring& path, ObjectSecurity& security);

// The rights to a key that a process whose token holds the SIDs of `token` lacks for full control.
// Entries count in their order, denials too; entries that only subkeys inherit, conditional ones
// that allow, and what an owner may do do not count. `acl` null gives every right.
ACCESS_MASK MissingKeyRights(const ACL* acl, std::span<const std::wstring> token);

// Who may change a file or folder, or what is made in the folder later, apart from SYSTEM,
// administrators, TrustedInstaller and whoever the creator will be: the owner, and every SID that
// an entry allows it. Denials do not count. Everyone if there is no list.
std::vector<std::wstring> OtherWriters(const ObjectSecurity& security);

// Whether an entry gives `sid` all access to the key itself and to new subkeys.
bool HasFullControl(const ACL& acl, const std::wstring& sid);

// Makes `changed` a copy of `acl` that gives `sid` all access to the key and to new subkeys: one
// entry takes the place of the key's own entries for `sid`, and all other entries stay. A Win32
// error, 0 for none. Calls SetEntriesInAclW.
DWORD AddFullControl(ACL& acl, const std::wstring& sid, LocalAcl& changed);

// Removes the entries that give `sid` all access to the key from `acl` itself. False if there are
// none. Calls DeleteAce.
bool RemoveFullControl(ACL& acl, const std::wstring& sid);

// Replaces the access list of a key that is open for WRITE_DAC; its inheritance stays as
// `security`, read before, has it. Subkeys keep their lists. A Win32 error, 0 for none. Calls
// RegSetKeySecurity.
DWORD WriteKeyAcl(HKEY key, const ObjectSecurity& security, ACL* acl);
