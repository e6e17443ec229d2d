// The fields of a profile request and the profile document, against a plain model of both.
#include <cwchar>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "mbn/mbnprofiletext.h"

namespace {

std::vector<std::wstring> Tokens(const std::wstring& text) {
    std::vector<std::wstring> tokens;
    std::size_t start = text.find_first_not_of(L"|\n");
    while (start != text.npos) {
        const std::size_t end = text.find_first_of(L"|\n", start);
        tokens.push_back(text.substr(start, end - start));
        start = text.find_first_not_of(L"|\n", end);
    }
    return tokens;
}

std::wstring Element(const std::wstring& name, const std::wstring& value) {
    return (L"<" + name + L">" + value + L"</" + name + L">").substr(0, 255);
}

bool IsNone(std::wstring text) {
    for (wchar_t& c : text) {
        c = c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
    }
    return text == L"NONE";
}

std::wstring Model(const std::wstring (&field)[kApnFieldCount],
                   const std::wstring& icc_id,
                   const std::wstring& provider,
                   const std::wstring& subscriber) {
    const bool none = IsNone(field[kApnAuthProtocol]);
    std::wstring document =
        L"<?xml version=\"1.0\"?><MBNProfileExt "
        L"xmlns=\"http://www.microsoft.com/networking/WWAN/profile/v4\">" +
        Element(L"Name", L"Bramble Profile") + Element(L"Description", field[kApnDescription]) +
        Element(L"IsDefault", L"true") + Element(L"ProfileCreationType", L"UserProvisioned") +
        Element(L"SubscriberID", subscriber) + Element(L"SimIccID", icc_id) +
        Element(L"HomeProviderName", provider) + Element(L"AutoConnectOnInternet", L"true") +
        Element(L"ConnectionMode", L"auto-home") + L"<Context>" +
        Element(L"AccessString", field[kApnAccessString]) +
        Element(L"Compression",
                field[kApnCompression].empty() ? L"DISABLE" : field[kApnCompression]) +
        Element(L"AuthProtocol", field[kApnAuthProtocol]) +
        (none ? L"" : Element(L"Username", field[kApnUsername])) +
        (none ? L"" : Element(L"Password", field[kApnPassword])) +
        Element(L"IPType", field[kApnIpType]) + L"</Context></MBNProfileExt>";
    return document.substr(0, 1023);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::wstring> strings = Strings(data, size);
    strings.resize(4);
    const std::vector<std::wstring> tokens = Tokens(strings[0]);

    // As long as its text, so that the sanitizer sees every access past its end.
    std::vector<wchar_t> request(strings[0].begin(), strings[0].end());
    request.push_back(L'\0');
    ApnFields fields;
    const std::size_t excess = SplitApnFields(request.data(), fields);
    Require(excess == (tokens.size() > kApnFieldCount ? tokens.size() - kApnFieldCount : 0));
    std::wstring field[kApnFieldCount];
    for (std::size_t i = 0; i < kApnFieldCount; ++i) {
        field[i] = i < tokens.size() ? tokens[i].substr(0, 255) : L"";
        Require(field[i] == fields.text[i]);
    }
    // Only terminators were written.
    for (std::size_t i = 0; i < strings[0].size(); ++i) {
        Require(request[i] == strings[0][i] ||
                (request[i] == L'\0' && (strings[0][i] == L'|' || strings[0][i] == L'\n')));
    }

    const ProfileDocument document = AssembleProfileDocument(
        fields, {strings[1].c_str(), strings[2].c_str(), strings[3].c_str()});
    Require(document.text == Model(field, strings[1], strings[2], strings[3]));
    return 0;
}
