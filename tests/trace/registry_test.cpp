#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/utf16.h"
#include "support/syscall_override.h"
#include "support/temp_folder.h"

namespace {

using platform::registry_key;
using platform::registry_key_data;
using platform::registry_view;
using ridgex_test::Key;
using ridgex_test::kTracingKey;

constexpr const char* kHeader = "Windows Registry Editor Version 5.00\r\n";
constexpr const char* kTracing = "SOFTWARE\\Solvane\\Tracing";

registry_key_data Parse(const std::string& body, const char* path = kTracing) {
    registry_key_data key;
    EXPECT_TRUE(platform::parse_registry_key(kHeader + body, path, &key)) << body;
    return key;
}

using Bytes = std::vector<uint8_t>;

TEST(RegistryParse, HeaderDecidesWhetherTheFileCounts) {
    registry_key_data key;
    for (const std::string& head :
         {std::string("REGEDIT4\n"), "\xEF\xBB\xBF" + std::string(kHeader), std::string(kHeader)}) {
        EXPECT_TRUE(platform::parse_registry_key(head + kTracingKey, kTracing, &key)) << head;
    }
    for (const std::string head : {"", "Windows Registry Editor\n"}) {
        EXPECT_FALSE(platform::parse_registry_key(head + kTracingKey, kTracing, &key)) << head;
    }
    EXPECT_FALSE(platform::parse_registry_key("", kTracing, &key));
}

TEST(RegistryParse, KeyExistsWhenNamedOrWhenAKeyBelowIsNamed) {
    registry_key_data key;
    const std::string deep = kHeader + Key("Solvane\\Tracing\\Components");
    EXPECT_TRUE(platform::parse_registry_key(deep, kTracing, &key));
    EXPECT_TRUE(platform::parse_registry_key(deep, "SOFTWARE\\Solvane", &key));
    EXPECT_FALSE(platform::parse_registry_key(deep, "SOFTWARE\\Solvane\\Trac", &key));
    EXPECT_FALSE(platform::parse_registry_key(deep, "SOFTWARE\\Solvane\\Tracing\\Comp", &key));
    // Other hives never count: everything is read below HKEY_LOCAL_MACHINE.
    EXPECT_FALSE(platform::parse_registry_key(
        kHeader + std::string("[HKEY_CURRENT_USER\\SOFTWARE\\Solvane\\Tracing]\n"), kTracing,
        &key));
}

TEST(RegistryParse, KeyPathsAndValueNamesIgnoreCase) {
    const auto key = Parse(
        "[hkey_local_machine\\software\\SOLVANE\\tracing]\r\n"
        "\"DoTrace\"=dword:00000001\r\n"
        "\"dotrace\"=dword:00000002\r\n");
    // The second line names the same value again and replaces it in place.
    ASSERT_EQ(key.values.size(), 1u);
    EXPECT_EQ(key.values[0].name, "DoTrace");
    EXPECT_EQ(key.values[0].data, Bytes({2, 0, 0, 0}));
}

TEST(RegistryParse, ValueKinds) {
    // Quoted text is stored as UTF-16LE with its NUL, so its size is even;
    // hex(2) and hex(1) keep their bytes as given, odd or unterminated.
    using namespace platform;
    const struct {
        const char* line;
        uint32_t type;
        Bytes data;
    } cases[] = {
        {"\"Dword\"=dword:0000000a", reg_dword, {10, 0, 0, 0}},
        {"\"Short\"=dword:A", reg_dword, {10, 0, 0, 0}},
        {"\"Text\"=\"a\\\\b\\\"c\"", reg_sz, {'a', 0, '\\', 0, 'b', 0, '"', 0, 'c', 0, 0, 0}},
        {"\"Empty\"=\"\"", reg_sz, {0, 0}},
        {"\"Wide\"=\"\xC3\xA9\xF0\x9F\x98\x80\"", reg_sz, {0xE9, 0, 0x3D, 0xD8, 0, 0xDE, 0, 0}},
        {"\"Expand\"=hex(2):41,00,00", reg_expand_sz, {0x41, 0, 0}},
        {"\"Raw\"=hex(1):41,00", reg_sz, {0x41, 0}},
        {"\"Binary\"=hex:de,AD , be,ef", reg_binary, {0xDE, 0xAD, 0xBE, 0xEF}},
        {"\"Dword4\"=hex(4):01,02,03,04", reg_dword, {1, 2, 3, 4}},
        {"\"Nothing\"=hex:", reg_binary, {}},
        {"@=\"d\"", reg_sz, {'d', 0, 0, 0}},
    };
    std::string body = kTracingKey;
    for (const auto& c : cases) {
        body += std::string(c.line) + "\n";
    }
    const auto key = Parse(body);
    ASSERT_EQ(key.values.size(), std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(key.values[i].type, cases[i].type) << cases[i].line;
        EXPECT_EQ(key.values[i].data, cases[i].data) << cases[i].line;
    }
    EXPECT_EQ(key.values.back().name, "");  // "@" is the key's default value
}

TEST(RegistryParse, HexListsContinueOverLines) {
    const auto key = Parse(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing]\r\n"
        "\"FileName\"=hex(2):2f,00,74,00,\\\r\n"
        "  6d,00,\\\r\n"
        "  00,00\r\n"
        "\"After\"=dword:1\r\n");
    ASSERT_EQ(key.values.size(), 2u);
    EXPECT_EQ(key.values[0].data, Bytes({0x2f, 0, 0x74, 0, 0x6d, 0, 0, 0}));
    EXPECT_EQ(key.values[1].name, "After");
}

TEST(RegistryParse, MalformedLinesAreSkippedAndTheRestCounts) {
    const auto key = Parse(kTracingKey +
                           "; a comment\n"
                           "\"TooLong\"=dword:123456789\n"
                           "\"NotHex\"=dword:xyz\n"
                           "\"Open\"=\"no end\n"
                           "\"BadEscape\"=\"C:\\Temp\"\n"
                           "\"BadByte\"=hex:1,2,300\n"
                           "\"BadType\"=hex(z):01\n"
                           "\"Garbage\"=qword:1\n"
                           "\"NoEquals\" dword:1\n"
                           "NoQuotes=dword:1\n"
                           "\"Deleted\"=-\n"
                           "\"BadUtf8\"=\"\xC3\x28\"\n"
                           "\xFF\xFE garbage \x01\n"
                           "\"Good\"=dword:00000007\n"
                           "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\n"
                           "\"InCutSection\"=dword:1\n"
                           "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing]\n"
                           "\"InDeletion\"=dword:1\n");
    ASSERT_EQ(key.values.size(), 1u);
    EXPECT_EQ(key.values[0].name, "Good");
}

TEST(RegistryParse, SubkeysAreDirectChildrenSortedWithoutCase) {
    const auto key =
        Parse(Key("Solvane\\Products\\zeta") + Key("Solvane\\Products\\Alpha\\Deeper") +
                  Key("Solvane\\Products\\alpha") + Key("Solvane\\Products\\Beta\\") +
                  Key("Solvane\\ProductsX"),
              "SOFTWARE\\Solvane\\Products");
    EXPECT_EQ(key.subkeys, (std::vector<std::string>{"Alpha", "Beta", "zeta"}));
}

TEST(RegistryText, Utf16ToUtf8StopsAtNulAndReplacesLoneSurrogates) {
    const char16_t text[] = {u'a', 0xD83D, 0xDE00, 0xDC00, u'b', 0xD800, 0, u'z'};
    EXPECT_EQ(platform::utf16_to_utf8(text, 8),
              "a\xF0\x9F\x98\x80\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
    EXPECT_EQ(platform::utf16_to_utf8(text, 2), "a\xEF\xBF\xBD");  // a pair cut by the count
    std::u16string wide;
    EXPECT_FALSE(platform::utf8_to_utf16("\xED\xA0\x80", &wide));  // an encoded surrogate
    EXPECT_FALSE(platform::utf8_to_utf16("\xC0\xAF", &wide));      // an overlong form
    EXPECT_FALSE(platform::utf8_to_utf16("\xE2\x82", &wide));      // cut at the end
}

// ---- the key object over the store file ------------------------------------

class RegistryKey : public ::testing::Test {
  protected:
    ridgex_test::TempFolder folder_;
    ridgex_test::RegistryFile file_{folder_};
};

TEST_F(RegistryKey, MissingFileOrKeyDoesNotOpen) {
    registry_key key;
    EXPECT_EQ(key.open(kTracing), platform::reg_not_found);
    EXPECT_FALSE(key.is_open());
    file_.Write(Key("Other"));
    EXPECT_EQ(key.open(kTracing), platform::reg_not_found);
    uint32_t size = 0;
    EXPECT_EQ(key.query_value("DoTrace", nullptr, nullptr, &size), platform::reg_not_found);
}

TEST_F(RegistryKey, QueryFollowsTheSizeProtocol) {
    file_.Write(kTracingKey + "\"Name\"=\"abc\"\n");
    registry_key key;
    ASSERT_EQ(key.open(kTracing), platform::reg_ok);
    uint32_t type = 0;
    uint32_t size = 0;
    EXPECT_EQ(key.query_value("NAME", &type, nullptr, &size), platform::reg_ok);
    EXPECT_EQ(type, platform::reg_sz);
    EXPECT_EQ(size, 8u);
    uint8_t buffer[8] = {};
    size = 7;
    EXPECT_EQ(key.query_value("Name", &type, buffer, &size), platform::reg_more_data);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(buffer[0], 0);  // nothing copied on too little room
    EXPECT_EQ(key.query_value("Name", &type, buffer, &size), platform::reg_ok);
    EXPECT_EQ(buffer[4], 'c');
    EXPECT_EQ(key.query_value("Missing", &type, buffer, &size), platform::reg_not_found);
}

TEST_F(RegistryKey, EnumeratesValuesAndSubkeys) {
    file_.Write(kTracingKey + "\"B\"=dword:1\n\"A\"=dword:2\n" +
                Key("Solvane\\Tracing\\Components") + "\"ridgex\"=\"\"\n");
    registry_key key;
    ASSERT_EQ(key.open(kTracing), platform::reg_ok);
    std::string name;
    EXPECT_EQ(key.enum_value(0, &name), platform::reg_ok);
    EXPECT_EQ(name, "B");
    EXPECT_EQ(key.enum_value(1, &name), platform::reg_ok);
    EXPECT_EQ(name, "A");
    EXPECT_EQ(key.enum_value(2, &name), platform::reg_no_more_items);
    EXPECT_EQ(key.enum_key(0, &name), platform::reg_ok);
    EXPECT_EQ(name, "Components");
    EXPECT_EQ(key.enum_key(1, &name), platform::reg_no_more_items);

    registry_key components;
    ASSERT_EQ(key.open_subkey("COMPONENTS", &components), platform::reg_ok);
    EXPECT_EQ(components.enum_value(0, &name), platform::reg_ok);
    EXPECT_EQ(name, "ridgex");
    registry_key missing;
    EXPECT_EQ(key.open_subkey("ComponentsNOT", &missing), platform::reg_not_found);
}

TEST_F(RegistryKey, ThirtyTwoBitViewReadsTheWow64Node) {
    file_.Write(Key("WOW6432Node\\Solvane\\Tracing\\Components"));
    registry_key key;
    EXPECT_EQ(key.open(kTracing), platform::reg_not_found);
    ASSERT_EQ(key.open(kTracing, registry_view::wow64_32), platform::reg_ok);
    // A subkey of a key of the 32-bit view stays in that view.
    registry_key components;
    EXPECT_EQ(key.open_subkey("Components", &components), platform::reg_ok);
}

TEST_F(RegistryKey, EveryOpenReadsTheFileAfresh) {
    file_.Write(kTracingKey + "\"DoTrace\"=dword:0\n");
    registry_key first;
    ASSERT_EQ(first.open(kTracing), platform::reg_ok);
    file_.Write(kTracingKey + "\"DoTrace\"=dword:1\n");
    registry_key second;
    ASSERT_EQ(second.open(kTracing), platform::reg_ok);
    uint32_t before = 9;
    uint32_t after = 9;
    uint32_t size = 4;
    first.query_value("DoTrace", nullptr, &before, &size);
    second.query_value("DoTrace", nullptr, &after, &size);
    EXPECT_EQ(before, 0u);  // an open key is a snapshot
    EXPECT_EQ(after, 1u);
}

TEST_F(RegistryKey, AFailingReadHoldsNoKeys) {
    file_.Write(kTracingKey);
    registry_key key;
    {
        syscall_override failing_read(
            &platform::syscall_table::read, +[](int, void*, size_t) -> ssize_t {
                errno = EIO;
                return -1;
            });
        EXPECT_EQ(key.open(kTracing), platform::reg_not_found);
    }
    EXPECT_EQ(key.open(kTracing), platform::reg_ok);
}

}  // namespace
