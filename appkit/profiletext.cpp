// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
#include "appkit/profiletext.h"

namespace {

// What the service keeps: the whole document, and an element of it with both tags.
constexpr size_t kDocumentLength = 1023;
constexpr size_t ElementRoom(size_t tag_length) {
    return 255 - (2 * tag_length) - 5;
}

// The lengths of the document without values, of its two elements for a user, and of the longest
// identity of a SIM: an IMSI has up to 15 characters, an ICCID and a provider's name up to 20.
constexpr size_t kEmptyDocumentLength = 553;
constexpr size_t kUserElementsLength = 42;
constexpr size_t kIdentityLength = 15 + 20 + 20;

// The schema of Windows permits no longer access string.
constexpr size_t kAccessStringLength = 100;

constexpr const wchar_t* kAuthentications[] = {L"NONE", L"PAP", L"CHAP", L"MsCHAPv2",
                                               L"AutoSelection"};
constexpr const wchar_t* kIpTypes[] = {L"Default", L"IPv4", L"IPv6", L"IPv4v6", L"XLAT"};
constexpr const wchar_t* kCompressions[] = {L"DISABLE", L"ENABLE"};

// What XML has in the place of a character.
const wchar_t* Escape(wchar_t character, const wchar_t* otherwise) {
    switch (character) {
        case L'&':
            return L"&amp;";
        case L'<':
            return L"&lt;";
        case L'>':
            return L"&gt;";
        default:
            return otherwise;
    }
}

// Texts that are written one after the other. The limits of the values are so low that the buffer
// is always long enough.
struct Text {
    wchar_t (&buffer)[kProfileTextSize];
    size_t length = 0;

    void Append(const wchar_t* text) {
        while (*text != L'\0') {
            buffer[length++] = *text++;
        }
        buffer[length] = L'\0';
    }

    // Appends a value with escapes. Returns whether the service keeps it: it is not empty, has no
    // separator, and is not longer than `room`. XML has no control characters except the tabulator.
    bool AppendValue(const wchar_t* value, size_t room) {
        const size_t start = length;
        for (; value != nullptr && *value != L'\0' && length - start <= room; ++value) {
            if ((*value < L' ' && *value != L'\t') || *value == L'|') {
                return false;
            }
            const wchar_t unit[] = {*value, L'\0'};
            Append(Escape(*value, unit));
        }
        return length > start && length - start <= room;
    }

    // Appends one of the names. Returns whether there is such a name.
    template <size_t count>
    bool AppendChoice(const wchar_t* const (&names)[count], int32_t choice) {
        const bool exists = choice >= 0 && static_cast<size_t>(choice) < count;
        Append(exists ? names[choice] : L"");
        return exists;
    }
};

bool IsEmpty(const wchar_t* text) {
    return text == nullptr || *text == L'\0';
}

}  // namespace

int32_t WriteProfileText(const TesselProfile& profile, wchar_t (&text)[kProfileTextSize]) {
    Text fields = {text};
    if (!fields.AppendValue(profile.description, ElementRoom(11))) {
        return TESSEL_PROFILE_DESCRIPTION;
    }
    fields.Append(L"|");
    if (!fields.AppendValue(profile.access_string, ElementRoom(12)) ||
        wcslen(profile.access_string) > kAccessStringLength) {
        return TESSEL_PROFILE_ACCESS_STRING;
    }
    fields.Append(L"|");
    if (!fields.AppendChoice(kAuthentications, profile.authentication)) {
        return TESSEL_PROFILE_AUTHENTICATION;
    }
    fields.Append(L"|");
    const bool has_user = profile.authentication != TESSEL_AUTH_NONE;
    // Without authentication the service drops both, but needs something in their places.
    const size_t unused = has_user ? 0 : 2;
    if (has_user ? !fields.AppendValue(profile.user_name, ElementRoom(8))
                 : !IsEmpty(profile.user_name)) {
        return TESSEL_PROFILE_USER_NAME;
    }
    fields.Append(has_user ? L"|" : L"-|");
    if (has_user ? !fields.AppendValue(profile.password, ElementRoom(8))
                 : !IsEmpty(profile.password)) {
        return TESSEL_PROFILE_PASSWORD;
    }
    fields.Append(has_user ? L"|" : L"-|");
    if (!fields.AppendChoice(kIpTypes, profile.ip_type)) {
        return TESSEL_PROFILE_IP_TYPE;
    }
    fields.Append(L"|");
    if (!fields.AppendChoice(kCompressions, profile.compression)) {
        return TESSEL_PROFILE_COMPRESSION;
    }
    constexpr size_t kSeparators = 6;
    const size_t values = fields.length - kSeparators - unused;
    const size_t room = kDocumentLength - kEmptyDocumentLength - kIdentityLength -
                        (has_user ? kUserElementsLength : 0);
    return values > room ? TESSEL_PROFILE_WHOLE : 0;
}
