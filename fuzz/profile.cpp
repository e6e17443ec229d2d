// Compares the fields of a profile request and the profile document with a plain model of both.
#include <cwchar>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "mbn/mbnprofiletext.h"

namespace {

// Splits at "|" and line feed. Delimiters in a row count as one.
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

std::wstring Model(const std::wstring (&field)[kApnFieldCount], const SimIdentity& sim) {
    const bool none = wcscasecmp(field[kApnAuthProtocol].c_str(), L"NONE") == 0;
    std::wstring document =
        L"<?xml version=\"1.0\"?><MBNProfileExt "
        L"xmlns=\"http://www.microsoft.com/networking/WWAN/profile/v4\">" +
        Element(L"Name", L"Bramble Profile") + Element(L"Description", field[kApnDescription]) +
        Element(L"IsDefault", L"true") + Element(L"ProfileCreationType", L"UserProvisioned") +
        Element(L"SubscriberID", sim.subscriber_id) + Element(L"SimIccID", sim.icc_id) +
        Element(L"HomeProviderName", sim.home_provider_name) +
        Element(L"AutoConnectOnInternet", L"true") + Element(L"ConnectionMode", L"auto-home") +
        L"<Context>" + Element(L"AccessString", field[kApnAccessString]) +
        Element(L"Compression",
                field[kApnCompression].empty() ? L"DISABLE" : field[kApnCompression]) +
        Element(L"AuthProtocol", field[kApnAuthProtocol]) +
        (none ? L"" : Element(L"Username", field[kApnUsername])) +
        (none ? L"" : Element(L"Password", field[kApnPassword])) +
        Element(L"IPType", field[kApnIpType]) + L"</Context></MBNProfileExt>";
    return document.substr(0, 1023);
}

}  // namespace

// The input holds the request and the values of the SIM, each ended by a zero.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::wstring input = Units(data, size);
    std::wstring strings[4];
    for (std::wstring& text : strings) {
        text = input.c_str();
        input.erase(0, text.size() + 1);
    }
    const auto& [request, icc_id, provider, subscriber] = strings;
    const std::vector<std::wstring> tokens = Tokens(request);

    // As long as its text, so that the sanitizer sees every access past its end.
    std::vector<wchar_t> split(request.begin(), request.end());
    split.push_back(L'\0');
    ApnFields fields;
    const std::size_t excess = SplitApnFields(split.data(), fields);
    Require(excess == (tokens.size() > kApnFieldCount ? tokens.size() - kApnFieldCount : 0));
    std::wstring field[kApnFieldCount];
    for (std::size_t i = 0; i < kApnFieldCount; ++i) {
        field[i] = i < tokens.size() ? tokens[i].substr(0, 255) : L"";
        Require(field[i] == fields.text[i]);
    }

    const SimIdentity sim = {icc_id.c_str(), provider.c_str(), subscriber.c_str()};
    Require(AssembleProfileDocument(fields, sim).text == Model(field, sim));
    return 0;
}
