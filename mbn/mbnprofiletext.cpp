#include "mbn/mbnprofiletext.h"

namespace {

// The values that elements of the document have.
enum Value : size_t {
    kNothing,
    kName,
    kDescription,
    kSubscriberId,
    kSimIccId,
    kHomeProviderName,
    kAccessString,
    kCompression,
    kAuthProtocol,
    kUsername,
    kPassword,
    kIpType,
    kValueCount,
};

struct Element {
    const wchar_t* opening;
    Value value;
    const wchar_t* closing;
};

// The document, in order. An element whose value is null is left out.
constexpr Element kElements[] = {
    {L"<?xml version=\"1.0\"?>"
     L"<MBNProfileExt xmlns=\"http://www.microsoft.com/networking/WWAN/profile/v4\">",
     kNothing, L""},
    {L"<Name>", kName, L"</Name>"},
    {L"<Description>", kDescription, L"</Description>"},
    {L"<IsDefault>true", kNothing, L"</IsDefault>"},
    {L"<ProfileCreationType>UserProvisioned", kNothing, L"</ProfileCreationType>"},
    {L"<SubscriberID>", kSubscriberId, L"</SubscriberID>"},
    {L"<SimIccID>", kSimIccId, L"</SimIccID>"},
    {L"<HomeProviderName>", kHomeProviderName, L"</HomeProviderName>"},
    {L"<AutoConnectOnInternet>true", kNothing, L"</AutoConnectOnInternet>"},
    {L"<ConnectionMode>auto-home", kNothing, L"</ConnectionMode>"},
    {L"<Context>", kNothing, L""},
    {L"<AccessString>", kAccessString, L"</AccessString>"},
    {L"<Compression>", kCompression, L"</Compression>"},
    {L"<AuthProtocol>", kAuthProtocol, L"</AuthProtocol>"},
    // Kept: the schema of Windows has neither of these elements in this place.
    {L"<Username>", kUsername, L"</Username>"},
    {L"<Password>", kPassword, L"</Password>"},
    {L"<IPType>", kIpType, L"</IPType>"},
    {L"</Context>", kNothing, L""},
    {L"</MBNProfileExt>", kNothing, L""},
};

constexpr size_t kElementCapacity = 256;

// Appends texts to a buffer, cuts what does not fit, and keeps the terminator.
template <size_t capacity>
class CutText {
 public:
    explicit CutText(wchar_t (&buffer)[capacity]) : m_buffer(buffer) { m_buffer[0] = L'\0'; }

    void Append(const wchar_t* text) {
        while (*text != L'\0' && m_length < capacity - 1) {
            m_buffer[m_length++] = *text++;
        }
        m_buffer[m_length] = L'\0';
    }

 private:
    wchar_t (&m_buffer)[capacity];
    size_t m_length = 0;
};

bool IsDelimiter(wchar_t character) {
    return character == L'|' || character == L'\n';
}

// Returns the next token from `position` and terminates it in place. Returns null after the last
// token. Kept: several delimiters together count as one, so a field in the middle cannot be empty.
wchar_t* NextToken(wchar_t*& position) {
    while (IsDelimiter(*position)) {
        ++position;
    }
    if (*position == L'\0') {
        return nullptr;
    }
    wchar_t* token = position;
    while (*position != L'\0' && !IsDelimiter(*position)) {
        ++position;
    }
    if (*position != L'\0') {
        *position++ = L'\0';
    }
    return token;
}

// Compares as the C runtime does in the "C" locale, which the service uses.
wchar_t AsciiUpper(wchar_t character) {
    return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - L'a' + L'A')
                                                  : character;
}

bool EqualsIgnoringCase(const wchar_t* left, const wchar_t* right) {
    while (*left != L'\0' && AsciiUpper(*left) == AsciiUpper(*right)) {
        ++left;
        ++right;
    }
    return AsciiUpper(*left) == AsciiUpper(*right);
}

}  // namespace

size_t SplitApnFields(wchar_t* text, ApnFields& fields) {
    fields = {};
    size_t count = 0;
    while (wchar_t* token = NextToken(text)) {
        if (count < kApnFieldCount) {
            CutText(fields.text[count]).Append(token);
        }
        ++count;
    }
    return count > kApnFieldCount ? count - kApnFieldCount : 0;
}

ProfileDocument AssembleProfileDocument(const ApnFields& fields, const SimIdentity& sim) {
    const wchar_t* values[kValueCount] = {};
    values[kNothing] = L"";
    values[kName] = kProfileName;
    values[kDescription] = fields.text[kApnDescription];
    values[kSubscriberId] = sim.subscriber_id;
    values[kSimIccId] = sim.icc_id;
    values[kHomeProviderName] = sim.home_provider_name;
    values[kAccessString] = fields.text[kApnAccessString];
    const wchar_t* compression = fields.text[kApnCompression];
    values[kCompression] = *compression != L'\0' ? compression : L"DISABLE";
    values[kAuthProtocol] = fields.text[kApnAuthProtocol];
    if (!EqualsIgnoringCase(fields.text[kApnAuthProtocol], L"NONE")) {
        values[kUsername] = fields.text[kApnUsername];
        values[kPassword] = fields.text[kApnPassword];
    }
    values[kIpType] = fields.text[kApnIpType];

    ProfileDocument document;
    CutText whole(document.text);
    for (const Element& element : kElements) {
        const wchar_t* value = values[element.value];
        if (value == nullptr) {
            continue;
        }
        wchar_t scratch[kElementCapacity];
        CutText text(scratch);
        // Kept: values are not escaped, and an element that is too long is cut.
        text.Append(element.opening);
        text.Append(value);
        text.Append(element.closing);
        whole.Append(scratch);
    }
    return document;
}
