#include "mbn/mbnprofiletext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Split {
    const wchar_t* data_string;
    std::vector<std::wstring> fields;
    size_t excess;
    // What data_string reads as afterwards.
    const wchar_t* left;
};

TEST(SplitApnFieldsTest, SplitsLikeTheCRuntime) {
    const Split cases[] = {
        {L"", {}, 0, L""},
        {L"|\n||", {}, 0, L"|\n||"},
        {L"alone", {L"alone"}, 0, L"alone"},
        {L"d|apn|PAP|u|p|IPv4|ENABLE",
         {L"d", L"apn", L"PAP", L"u", L"p", L"IPv4", L"ENABLE"},
         0,
         L"d"},
        {L"d\napn|\nPAP||u|", {L"d", L"apn", L"PAP", L"u"}, 0, L"d"},
        // The leading delimiters are passed over, not overwritten.
        {L"||d|apn", {L"d", L"apn"}, 0, L"||d"},
        {L"1|2|3|4|5|6|7|8", {L"1", L"2", L"3", L"4", L"5", L"6", L"7"}, 1, L"1"},
        {L"1|2|3|4|5|6|7|8|9||\n10|", {L"1", L"2", L"3", L"4", L"5", L"6", L"7"}, 3, L"1"},
        {L"a b\t\r|c;d", {L"a b\t\r", L"c;d"}, 0, L"a b\t\r"},
    };
    for (const Split& expected : cases) {
        SCOPED_TRACE(expected.data_string);
        std::wstring data_string = expected.data_string;
        ApnFields fields;
        EXPECT_EQ(SplitApnFields(data_string.data(), fields), expected.excess);
        for (size_t i = 0; i < kApnFieldCount; ++i) {
            EXPECT_EQ(fields.text[i], i < expected.fields.size() ? expected.fields[i] : L"") << i;
        }
        EXPECT_STREQ(data_string.c_str(), expected.left);
    }
}

TEST(SplitApnFieldsTest, CutsTokensThatDoNotFit) {
    for (size_t length : {255, 256, 5000}) {
        std::wstring token(length, L'x');
        std::wstring data_string = token + L"|next";
        ApnFields fields;
        EXPECT_EQ(SplitApnFields(data_string.data(), fields), 0u);
        EXPECT_EQ(fields.text[0], token.substr(0, 255));
        EXPECT_STREQ(fields.text[1], L"next");
        EXPECT_EQ(data_string.c_str(), token);
    }
}

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
        {L"Work|internet|NONE|me|secret|IPv4", L"Work",
         L"<AccessString>internet</AccessString><Compression>DISABLE</Compression>"
         L"<AuthProtocol>NONE</AuthProtocol><IPType>IPv4</IPType>"},
        {L"Work|internet|nOnE|me|secret|IPv4", L"Work",
         L"<AccessString>internet</AccessString><Compression>DISABLE</Compression>"
         L"<AuthProtocol>nOnE</AuthProtocol><IPType>IPv4</IPType>"},
        // Only the whole word counts.
        {L"Work|internet|NONE2|me", L"Work",
         L"<AccessString>internet</AccessString><Compression>DISABLE</Compression>"
         L"<AuthProtocol>NONE2</AuthProtocol><Username>me</Username><Password></Password>"
         L"<IPType></IPType>"},
        {L"", L"",
         L"<AccessString></AccessString><Compression>DISABLE</Compression>"
         L"<AuthProtocol></AuthProtocol><Username></Username><Password></Password>"
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

TEST(AssembleProfileDocumentTest, CutsAnElementAt255Characters) {
    // "<Description>" and "</Description>" leave room for 228 characters.
    const std::wstring rest =
        L"<AccessString></AccessString><Compression>DISABLE</Compression>"
        L"<AuthProtocol></AuthProtocol><Username></Username><Password></Password><IPType></IPType>";
    for (size_t length : {227, 228, 229, 242, 255}) {
        const std::wstring description(length, L'd');
        const std::wstring element = L"<Description>" + description + L"</Description>";
        std::wstring whole = Document(description, rest);
        whole.replace(whole.find(element), element.size(), element.substr(0, 255));
        EXPECT_EQ(AssembleProfileDocument(Fields(description), kSim).text, whole) << length;
    }
}

TEST(AssembleProfileDocumentTest, CutsTheDocumentAt1023Characters) {
    const std::wstring filler(200, L'f');
    const auto document = [&](const std::wstring& ip_type) {
        return Document(filler, L"<AccessString>" + filler +
                                    L"</AccessString><Compression>DISABLE</Compression>"
                                    L"<AuthProtocol>NONE</AuthProtocol><IPType>" +
                                    ip_type + L"</IPType>");
    };
    const size_t room = 1023 - document(L"").size();
    // The cut is the document's, not an element's.
    ASSERT_LT(room + 40, 255 - wcslen(L"<IPType></IPType>"));
    for (size_t length : {room - 1, room, room + 1, room + 16, room + 40}) {
        const std::wstring ip_type(length, L'i');
        const ProfileDocument cut =
            AssembleProfileDocument(Fields(filler + L"|" + filler + L"|NONE|u|p|" + ip_type), kSim);
        EXPECT_EQ(cut.text, document(ip_type).substr(0, 1023)) << length;
    }
}

}  // namespace
