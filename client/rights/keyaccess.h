// The access list of a registry key: what it gives to whom, and one entry more or less in it.
#pragma once

#include <windows.h>

#include <span>
#include <vector>

#include "client/rights/servicesid.h"

// The rights of `wanted` that a process does not get whose token holds `token`; 0 when it gets all
// of them. The entries count in their order, denials too; those that only descend do not, nor do
// conditional ones that allow. `acl` null (no list) gives everything. The owner of the key, if it
// is in the token, may read and change the list, unless an entry for OWNER RIGHTS says otherwise.
ACCESS_MASK MissingKeyRights(const ACL* acl,
                             PSID owner,
                             std::span<const Sid> token,
                             ACCESS_MASK wanted);

// Owner and access list of an open key.
struct KeySecurity {
    std::vector<BYTE> descriptor;
    PSID owner = nullptr;
    // Null where there is no list.
    ACL* acl = nullptr;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
};

// Reads the security of a key that is open for READ_CONTROL; a Win32 error, 0 for none. Calls
// RegGetKeySecurity.
LSTATUS ReadKeySecurity(HKEY key, KeySecurity& security);

// The list with an entry that gives `sid` all access to the key and its subkeys: after the entries
// of the key's own and before the inherited ones. Nothing when it is there already.
std::vector<BYTE> WithFullControl(const ACL& acl, const Sid& sid);

// The list without the entries that give `sid` all access. Nothing when there is none.
std::vector<BYTE> WithoutFullControl(const ACL& acl, const Sid& sid);

// Puts `acl`, an access list, in the place of the key's; everything else of the security stays. The
// key is open for WRITE_DAC. Subkeys keep what they have. A Win32 error, 0 for none. Calls
// RegSetKeySecurity.
LSTATUS WriteKeyAcl(HKEY key, const KeySecurity& security, std::vector<BYTE>& acl);
