// The texts of a connection profile: the fields of the request, and the profile document. Nothing
// here needs Windows, so that it can be fuzzed on any machine.
#pragma once

#include <cstddef>

// The name of the service's own profile.
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

// Splits `text` at "|" and line feed into `fields`, and overwrites the delimiter after each token
// with a terminator. Several delimiters together count as one, so only the last fields can be
// empty. Cuts a token that is too long for its field. Ignores the tokens after the last field, and
// returns their number.
size_t SplitApnFields(wchar_t* text, ApnFields& fields);

// Returns the profile document, schema version 4. Does not escape values. Cuts an element after 255
// characters and the document after 1023.
ProfileDocument AssembleProfileDocument(const ApnFields& fields, const SimIdentity& sim);
