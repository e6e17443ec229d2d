// Access lists of registry keys and files: who gets which rights, and full control for one SID.
#pragma once

#include <windows.h>

#include <span>
#include <string>
#include <vector>

#include "client/rights/servicesid.h"
#include "win32/uniquehandle.h"

// Owner and access list of an object. Both pointers point into `descriptor`; `acl` is null if the
// object has no list.
struct ObjectSecurity {
    LocalMemory descriptor;
    PSID owner = nullptr;
    ACL* acl = nullptr;
};

// Read the security of a key that is open for READ_CONTROL, or of a file or folder. They return a
// Win32 error, 0 for none, and call GetSecurityInfo and GetNamedSecurityInfoW.
DWORD ReadKeySecurity(HKEY key, ObjectSecurity& security);
DWORD ReadFileSecurity(const std::wstring& path, ObjectSecurity& security);

// The rights of `wanted` to a key that a process whose token holds the SIDs of `token` does not
// get; 0 if it gets all of them. Entries count in their order, denials too. Entries that are only
// inherited by subkeys do not count, nor do conditional ones that allow, nor what an owner may do.
// `acl` null gives every right.
ACCESS_MASK MissingKeyRights(const ACL* acl, std::span<const Sid> token, ACCESS_MASK wanted);

// Who may change a file or folder, or what is made in the folder later, apart from SYSTEM,
// administrators, TrustedInstaller and whoever the creator will be: the owner, and every SID that
// an entry allows it, each once. Denials do not count. Everyone if there is no list.
std::vector<Sid> OtherWriters(const ObjectSecurity& security);

// Whether an entry gives `sid` all access to the key itself and to new subkeys.
bool HasFullControl(const ACL& acl, const Sid& sid);

// Makes `changed` a copy of `acl` that gives `sid` all access to the key and to new subkeys: one
// entry for `sid` takes the place of the key's own entries for it, and all other entries stay. A
// Win32 error, 0 for none. Calls SetEntriesInAclW.
DWORD AddFullControl(ACL& acl, const Sid& sid, LocalAcl& changed);

// Removes the entries that give `sid` all access to the key from `acl` itself. False if there are
// none. Calls DeleteAce.
bool RemoveFullControl(ACL& acl, const Sid& sid);

// Replaces the access list of a key that is open for WRITE_DAC; its inheritance stays as
// `security`, read before, has it. Subkeys keep their lists. A Win32 error, 0 for none. Calls
// RegSetKeySecurity.
DWORD WriteKeyAcl(HKEY key, const ObjectSecurity& security, ACL* acl);
