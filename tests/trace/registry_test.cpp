#include "platform/registry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/utf16.h"
#include "support/syscall_override.h"
#include "support/temp_folder.h"

namespace {

using platform::registry_key;
using platform::registry_key_data;
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

TEST(RegistryParse, HeaderAndPathDecideWhetherTheKeyExists) {
    const std::string deep = kHeader + Key("Solvane\\Tracing\\Components");
    const struct {
        std::string text;
        const char* path;
        bool exists;
    } cases[] = {
        {"REGEDIT4\n" + kTracingKey, kTracing, true},
        {"\xEF\xBB\xBF" + std::string(kHeader) + kTracingKey, kTracing, true},
        {kHeader + kTracingKey, kTracing, true},
        {kTracingKey, kTracing, false},
        {"Windows Registry Editor\n" + kTracingKey, kTracing, false},
        {"", kTracing, false},
        // A key exists when named or when a key below it is named.
        {deep, kTracing, true},
        {deep, "SOFTWARE\\Solvane", true},
        {deep, "SOFTWARE\\Solvane\\Trac", false},
        {deep, "SOFTWARE\\Solvane\\Tracing\\Comp", false},
        // Other hives never count: everything is read below HKEY_LOCAL_MACHINE.
        {kHeader + std::string("[HKEY_CURRENT_USER\\SOFTWARE\\Solvane\\Tracing]\n"), kTracing,
         false},
    };
    for (const auto& c : cases) {
        registry_key_data key;
        EXPECT_EQ(platform::parse_registry_key(c.text, c.path, &key), c.exists)
            << c.text << " at " << c.path;
    }
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
        {"\"Twice\"=dword:1", reg_dword, {2, 0, 0, 0}},  // named again below
        {"\"Short\"=dword:A", reg_dword, {10, 0, 0, 0}},
        {"\"Text\"=\"a\\\\b\\\"c\"", reg_sz, {'a', 0, '\\', 0, 'b', 0, '"', 0, 'c', 0, 0, 0}},
        {"\"Empty\"=\"\"", reg_sz, {0, 0}},
        {"\"Wide\"=\"\xC3\xA9\xF0\x9F\x98\x80\"", reg_sz, {0xE9, 0, 0x3D, 0xD8, 0, 0xDE, 0, 0}},
        {"\"Expand\"=hex(2):41,00,00", reg_expand_sz, {0x41, 0, 0}},
        {"\"Raw\"=hex(1):41,00", reg_sz, {0x41, 0}},
        {"\"Binary\"=hex:de,AD , be,ef", reg_binary, {0xDE, 0xAD, 0xBE, 0xEF}},
        {"\"Lines\"=hex:01,\\\r\n  02,\\\n  03", reg_binary, {1, 2, 3}},
        {"\"Dword4\"=hex(4):01,02,03,04", reg_dword, {1, 2, 3, 4}},
        {"\"Nothing\"=hex:", reg_binary, {}},
        {"@=\"d\"", reg_sz, {'d', 0, 0, 0}},
    };
    // Key paths and value names ignore case.
    std::string body = "[hkey_local_machine\\software\\SOLVANE\\tracing]\r\n";
    for (const auto& c : cases) {
        body += std::string(c.line) + "\n";
    }
    const auto key = Parse(body + "\"TWICE\"=dword:00000002\n");
    ASSERT_EQ(key.values.size(), std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(key.values[i].type, cases[i].type) << cases[i].line;
        EXPECT_EQ(key.values[i].data, cases[i].data) << cases[i].line;
    }
    EXPECT_EQ(key.values.front().name, "Twice");  // replaced in place
    EXPECT_EQ(key.values.back().name, "");        // "@" is the key's default value
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

TEST(RegistryKey, MissingFileKeyOrReadDoesNotOpen) {
    ridgex_test::TempFolder folder;
    ridgex_test::RegistryFile file{folder};
    registry_key key;
    EXPECT_EQ(key.open(kTracing), platform::reg_not_found);
    EXPECT_FALSE(key.is_open());
    uint32_t size = 0;
    EXPECT_EQ(key.query_value("DoTrace", nullptr, nullptr, &size), platform::reg_not_found);
    file.Write(Key("Other"));
    EXPECT_EQ(key.open(kTracing), platform::reg_not_found);
    file.Write(kTracingKey);
    {
        syscall_override failing_read(
            &platform::syscall_table::read, +[](int, void*, size_t) -> ssize_t {
                errno = EIO;
                return -1;
            });
        EXPECT_EQ(key.open(kTracing), platform::reg_not_found);
    }
    EXPECT_EQ(key.open(kTracing), platform::reg_ok);
    // Only a regular file of at most 1 MiB holds keys; nothing blocks.
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ridgex_test::WriteFile(folder / "big.reg",
                           std::string(kHeader) + kTracingKey + std::string(1 << 20, ';') + "\n");
    for (const std::string& path :
         {folder / "fifo", std::string("/dev/zero"), folder.path().string(), folder / "big.reg"}) {
        setenv("RIDGEX_REGISTRY", path.c_str(), 1);
        EXPECT_EQ(key.open(kTracing), platform::reg_not_found) << path;
    }
}

}  // namespace
