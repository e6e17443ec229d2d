#include "mbn/mbnprofiletext.h"

#include <gtest/gtest.h>

#include <string>

// Fuzzing compares all of it, the cuts too, with a model: fuzz/profile.cpp. Here stands what a
// document looks like, with the code units of Windows.
namespace {

ApnFields Fields(std::wstring data_string) {
    ApnFields fields;
    SplitApnFields(data_string.data(), fields);
    return fields;
}

constexpr SimIdentity kSim = {L"8982", L"Home Net", L"45005"};

// The document around the description and the context.
std::wstring Document(const std::wstring& description, const std::wstring& context) {
    return L"<?xml version=\"1.0\"?>"
           L"<MBNProfileExt xmlns=\"http://www.microsoft.com/networking/WWAN/profile/v4\">"
           L"<Name>Bramble Profile</Name><Description>" +
           description +
           L"</Description><IsDefault>true</IsDefault>"
           L"<ProfileCreationType>UserProvisioned</ProfileCreationType>"
           L"<SubscriberID>45005</SubscriberID><SimIccID>8982</SimIccID>"
           L"<HomeProviderName>Home Net</HomeProviderName>"
           L"<AutoConnectOnInternet>true</AutoConnectOnInternet>"
           L"<ConnectionMode>auto-home</ConnectionMode><Context>" +
           context + L"</Context></MBNProfileExt>";
}

TEST(AssembleProfileDocumentTest, WritesTheElementsInOrder) {
    struct Case {
        const wchar_t* data_string;
        const wchar_t* description;
        const wchar_t* context;
    };
    const Case cases[] = {
        {L"Work|internet|PAP|me|secret|IPv4v6|ENABLE", L"Work",
         L"<AccessString>internet</AccessString><Compression>ENABLE</Compression>"
         L"<AuthProtocol>PAP</AuthProtocol><Username>me</Username><Password>secret</Password>"
         L"<IPType>IPv4v6</IPType>"},
        {L"Work|internet|nOnE|me|secret|IPv4", L"Work",
         L"<AccessString>internet</AccessString><Compression>DISABLE</Compression>"
         L"<AuthProtocol>nOnE</AuthProtocol><IPType>IPv4</IPType>"},
        // Only the whole word counts.
        {L"Work|internet|NONE2|me", L"Work",
         L"<AccessString>internet</AccessString><Compression>DISABLE</Compression>"
         L"<AuthProtocol>NONE2</AuthProtocol><Username>me</Username><Password></Password>"
         L"<IPType></IPType>"},
        {L"A&B<c>%s|x\"y|NON", L"A&B<c>%s",
         L"<AccessString>x\"y</AccessString><Compression>DISABLE</Compression>"
         L"<AuthProtocol>NON</AuthProtocol><Username></Username><Password></Password>"
         L"<IPType></IPType>"},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.data_string);
        const ProfileDocument document =
            AssembleProfileDocument(Fields(expected.data_string), kSim);
        EXPECT_EQ(document.text, Document(expected.description, expected.context));
    }
}

}  // namespace
