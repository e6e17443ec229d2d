// The text work behind a connection profile: the request's fields and the profile document. Plain
// functions over plain data that need nothing of Windows, so that they can be examined anywhere.
#pragma once

#include <cstddef>

// The one profile of the service: created under this name and connected with by it.
inline constexpr wchar_t kProfileName[] = L"Bramble Profile";

// The fields of a request, in the order in which they stand in it.
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

// Characters of one field, its terminator included.
inline constexpr size_t kApnFieldCapacity = 256;

// The field texts by ApnField, empty where the request gave none.
struct ApnFields {
    wchar_t text[kApnFieldCount][kApnFieldCapacity];
};

// What the SIM says of itself; no pointer is null, an unknown value is an empty text.
struct SimIdentity {
    const wchar_t* icc_id;
    const wchar_t* home_provider_name;
    const wchar_t* subscriber_id;
};

// Characters of a profile document, its terminator included.
inline constexpr size_t kProfileDocumentCapacity = 1024;

struct ProfileDocument {
    wchar_t text[kProfileDocumentCapacity];
};

// Splits `text` at "|" and line feed into `fields`, writing a terminator over the delimiter
// behind each token. Delimiters in a row count as one, so no field but a last one can be empty. A
// token that does not fit its field is cut. Returns the number of tokens past the last field, which
// are not kept.
size_t SplitApnFields(wchar_t* text, ApnFields& fields);

// The document that describes the profile, of schema version 4. Values are inserted as they are,
// without escaping; an element of more than 255 characters and a document of more than 1023 are cut
// there.
ProfileDocument AssembleProfileDocument(const ApnFields& fields, const SimIdentity& sim);
