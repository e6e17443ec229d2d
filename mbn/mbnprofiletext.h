// The texts of a connection profile: the fields of the request, and the profile document. Includes
// nothing of Windows, so that it can be fuzzed on any machine.
#pragma once

#include <cstddef>

// The name of the service's own profile, which it creates and connects with.
inline constexpr wchar_t kProfileName[] = L"Bramble Profile";

// The fields of a request, in their order.
enum ApnField : size_t {
    kApnDescription,
    kApnAccessString,
    kApnAuthProtocol,
    kApnUsername,
    kApnPassword,
    kApnIpType,
    kApnCompression,
    kApnFieldCount,
};

// In characters, with the terminator.
inline constexpr size_t kApnFieldCapacity = 256;

// The texts by ApnField. A field that the request does not have is empty.
struct ApnFields {
    wchar_t text[kApnFieldCount][kApnFieldCapacity];
};

// The SIM's values. An unknown value is an empty text, never null.
struct SimIdentity {
    const wchar_t* icc_id;
    const wchar_t* home_provider_name;
    const wchar_t* subscriber_id;
};

// In characters, with the terminator.
inline constexpr size_t kProfileDocumentCapacity = 1024;

struct ProfileDocument {
    wchar_t text[kProfileDocumentCapacity];
};

// Splits `text` at "|" and line feed into `fields`, and writes a terminator over the delimiter
// after each token. Delimiters in a row count as one, so only the last fields can be empty. A token
// that is too long for its field is cut. Tokens past the last field are dropped; returns how many.
size_t SplitApnFields(wchar_t* text, ApnFields& fields);

// Returns the document of the profile, schema version 4. Values are not escaped. An element is cut
// after 255 characters, the document after 1023.
ProfileDocument AssembleProfileDocument(const ApnFields& fields, const SimIdentity& sim);
