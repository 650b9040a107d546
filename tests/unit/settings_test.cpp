// The settings file: the ini walker on its own, then the reader and the
// rewriting writer on real files in a temporary HOME.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "shell/plugin.h"
#include "store/settings.h"
#include "toolkit/scale.h"

extern "C" const clap_plugin_entry_t clap_entry;

namespace {

using namespace std::string_literals;  // "...\0..."s keeps zero bytes

std::u32string Wide(const std::string &bytes) {
    std::u32string text;
    for (char c : bytes) text += (char32_t)(int32_t)(signed char)c;
    return text;
}

// Each item as one line: kind, section, key and value, texts taken by length.
std::vector<std::string> Walk(std::string data, bool terminate = false) {
    data += '\0';  // the byte behind the data that a terminating walk may write
    IniCursor cursor = {};
    cursor.cursor = &data[0];
    cursor.remaining = data.size() - 1;
    std::vector<std::string> items;
    while (IniNext(&cursor, terminate)) {
        const char *kind =
            cursor.item == INI_SECTION ? "S" : cursor.item == INI_COMMENT ? "C" : "K";
        items.push_back(kind + "|"s + std::string(cursor.section, cursor.sectionLength) + "|" +
                        std::string(cursor.key, cursor.keyLength) + "|" +
                        std::string(cursor.value, cursor.valueLength));
    }
    return items;
}

std::string ReadFile(const std::string &path) {
    std::string bytes;
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return "<none>";
    char chunk[65536];
    ssize_t got;
    while ((got = read(fd, chunk, sizeof chunk)) > 0) bytes.append(chunk, (size_t)got);
    close(fd);
    return bytes;
}

void WriteFile(const std::string &path, const std::string &bytes) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path;
    ASSERT_EQ(write(fd, bytes.data(), bytes.size()), (ssize_t)bytes.size());
    close(fd);
}

// A fresh HOME with an empty ".config" folder for each test; the old HOME and
// working directory come back afterwards.
struct SettingsHome : ::testing::Test {
    std::string home, file;
    std::optional<std::string> oldHome;
    char oldDirectory[PATH_MAX] = {};

    void SetUp() override {
        if (const char *value = getenv("HOME")) oldHome = value;
        ASSERT_TRUE(getcwd(oldDirectory, sizeof oldDirectory));
        char pattern[] = "/tmp/settings-test-XXXXXX";
        ASSERT_TRUE(mkdtemp(pattern));
        home = pattern;
        mkdir((home + "/.config").c_str(), 0755);
        file = home + "/.config/OrwenAudioPlugins.ini";
        setenv("HOME", home.c_str(), 1);
    }
    void TearDown() override {
        if (oldHome) setenv("HOME", oldHome->c_str(), 1);
        else unsetenv("HOME");
        ASSERT_EQ(chdir(oldDirectory), 0);
        ASSERT_EQ(system(("rm -rf '" + home + "'").c_str()), 0);
    }

    void Put(const std::string &bytes) { WriteFile(file, bytes); }
    std::string File() { return ReadFile(file); }
    int32_t Int(const std::string &key) { return SettingsReadInt(Wide(key).c_str()); }
    std::optional<std::u32string> Text(const std::string &key, size_t extraBytes = 0) {
        char32_t *text = SettingsReadText(Wide(key).c_str(), extraBytes);
        if (!text) return std::nullopt;
        std::u32string result = text;
        free(text);
        return result;
    }
    void Write(const std::string &key, const std::string &value) {
        SettingsWrite(Wide(key).c_str(), Wide(value).c_str());
    }
};

struct SettingsRead : SettingsHome {};
struct SettingsRewrite : SettingsHome {};
struct SettingsAtStart : SettingsHome {};

}  // namespace

// ---- the walker ----

TEST(SettingsIni, walks_items_byte_for_byte_without_trimming) {
    std::vector<std::string> expected = {
        "K||A|1",         // before any header: the section with the empty name
        "S|S||",
        "K|S|\tB | 2\r",  // the rest of the header's line; the tab starts the key
        "C|S|;c=x\r|",    // a comment keeps its "=" and carriage return in its text
        "K|S|C|",         // no "="
        "S|T||",
        "K|T||v\r",       // an empty key
        "K|T|D|",         // cut by the end of the data
    };
    EXPECT_EQ(Walk("A=1\n \r\n [S] \tB = 2\r\n;c=x\r\nC\n[T]\n=v\r\nD="), expected);
}

TEST(SettingsIni, zero_bytes_end_values_names_and_comments_but_not_keys) {
    std::vector<std::string> expected = {
        "K||A|1",
        "K||\0B|2"s,   // the zero byte that ended the value starts the next key
        "S|X||",
        "K|X|\0]Y|"s,  // ...also after a header
        "C|X|;c|",     // a comment consumes its zero byte
        "K|X|d|",
        "S|e\nf||",    // a name runs over line feeds up to the "]" or the end
    };
    EXPECT_EQ(Walk("A=1\0B=2\n[X\0]Y\n;c\0d\n[e\nf"s), expected);
}

TEST(SettingsIni, terminate_writes_zeros_behind_texts_and_empty_texts_are_empty_strings) {
    char data[] = "A=\n[]x\n;y#";  // the "#" is the byte behind the data
    IniCursor cursor = {};
    cursor.cursor = data;
    cursor.remaining = sizeof data - 2;
    std::vector<std::string> seen;
    while (IniNext(&cursor, true))
        seen.push_back(cursor.section + "|"s + cursor.key + "|" + cursor.value);
    EXPECT_EQ(seen, (std::vector<std::string>{"|A|", "||", "|x|", "|;y|"}));
    EXPECT_EQ(data[sizeof data - 2], '\0');
}

// ---- reading ----

TEST_F(SettingsRead, missing_file_gives_zero_and_null) {
    EXPECT_EQ(Int("UIRefresh"), 0);
    EXPECT_FALSE(Text("UserPatches"));
}

TEST_F(SettingsRead, integers_read_as_strtol_reads_them_from_exactly_equal_keys) {
    struct Case {
        const char *line;
        int32_t value;
    } cases[] = {
        {"UIScale=150", 150},         {"UIScale=0", 0},       {"UIScale=150abc", 150},
        {"UIScale= 150", 150},        {"UIScale =150", 0},    {"uiscale=150", 0},
        {"UIScale=abc", 0},           {"UIScale=-25\r", -25}, {"UIScale=", 0},
        {"UIScale=99999999999", INT32_MAX},
    };
    for (const Case &c : cases) {
        Put("[LathemoorFX]\n"s + c.line + "\n");
        EXPECT_EQ(Int("UIScale"), c.value) << c.line;
    }
}

TEST_F(SettingsRead, keys_outside_the_section_are_not_found_and_the_first_duplicate_wins) {
    Put("UIScale=1\n[Other]\nUIScale=2\n[lathemoorfx]\nUIScale=3\n[LathemoorFX ]\nUIScale=4\n"
        "[LathemoorFX]\nUISkin=5\n;UIScale=6\n[LathemoorFX]\nUISkin=7\n");
    EXPECT_EQ(Int("UIScale"), 0);
    EXPECT_EQ(Int("UISkin"), 5);
    EXPECT_FALSE(Text(";UIScale=6"));  // a comment is not a key, whatever is asked for
}

TEST_F(SettingsRead, text_keeps_carriage_returns_and_widens_bytes_by_sign_extension) {
    Put("[LathemoorFX]\r\nCustomSkin=/a/b\r\nUserPatches=/m\xE9n\n");
    EXPECT_EQ(Text("CustomSkin"), U"/a/b\r");
    EXPECT_EQ(Text("UserPatches"), (std::u32string{U'/', U'm', (char32_t)0xFFFFFFE9, U'n'}));

    char32_t *text = SettingsReadText(U"CustomSkin", 12);
    ASSERT_TRUE(text);
    for (int i = 5; i < 8; i++) EXPECT_EQ(text[i], 0u) << i;  // terminator and room to append
    free(text);
}

TEST_F(SettingsRead, empty_value_is_an_empty_string_and_a_missing_key_is_null) {
    Put("[LathemoorFX]\nUserPatches=\nCustomInitPatch\n");
    EXPECT_EQ(Text("UserPatches"), U"");
    EXPECT_EQ(Text("CustomInitPatch"), U"");  // a line without "=" is a key with an empty value
    EXPECT_FALSE(Text("UserContentStore"));
}

TEST_F(SettingsRead, only_the_first_999999_bytes_of_the_file_are_seen) {
    // "B=23": the "3" is the file's byte 999,999, the first one not read.
    std::string head = "[LathemoorFX]\n;";
    head += std::string(999999 - 3 - 1 - head.size(), 'x') + "\n";
    Put(head + "B=23\nC=3\n");
    EXPECT_EQ(Int("B"), 2);
    EXPECT_EQ(Int("C"), 0);
}

TEST_F(SettingsRead, unset_home_finds_no_file_and_writes_none) {
    // A path built from a null HOME would be "(null)/.config/..." here.
    ASSERT_EQ(chdir(home.c_str()), 0);
    mkdir("(null)", 0755);
    mkdir("(null)/.config", 0755);
    WriteFile("(null)/.config/OrwenAudioPlugins.ini", "[LathemoorFX]\nUIScale=150\n");
    unsetenv("HOME");
    EXPECT_EQ(Int("UIScale"), 0);
    EXPECT_FALSE(Text("UIScale"));
    Write("UIScale", "200");
    EXPECT_EQ(ReadFile("(null)/.config/OrwenAudioPlugins.ini"), "[LathemoorFX]\nUIScale=150\n");
}

// ---- rewriting ----

TEST_F(SettingsRewrite, first_write_creates_the_file_with_its_section_but_not_the_folder) {
    Write("UIScale", "150");
    EXPECT_EQ(File(), "\n[LathemoorFX]\nUIScale=150\n");
    struct stat info;
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0644u & ~mask);

    ASSERT_EQ(system(("rm -rf '" + home + "/.config'").c_str()), 0);
    Write("UIScale", "150");
    EXPECT_NE(access((home + "/.config").c_str(), F_OK), 0);
}

TEST_F(SettingsRewrite, new_key_ends_its_section_and_every_other_line_keeps_its_order) {
    Put("; shared by all plug-ins\r\n\n[Other]\n  Zoom=2\n\n\n[LathemoorFX]\nUIRefresh=17\n"
        "; keep me\n\n[Third]\nX=1");
    Write("UIScale", "150");
    EXPECT_EQ(File(),
              "; shared by all plug-ins\r\n\n[Other]\nZoom=2\n\n[LathemoorFX]\nUIRefresh=17\n"
              "; keep me\nUIScale=150\n\n[Third]\nX=1\n");
}

TEST_F(SettingsRewrite, a_file_without_the_section_gains_it_at_the_end) {
    Put("UIScale=7\n[Other]\nUIScale=100\n");
    Write("UIScale", "150");
    EXPECT_EQ(File(), "UIScale=7\n\n[Other]\nUIScale=100\n\n[LathemoorFX]\nUIScale=150\n");
    EXPECT_EQ(Int("UIScale"), 150);
}

TEST_F(SettingsRewrite, every_line_of_the_key_in_the_section_is_replaced) {
    Put("[LathemoorFX]\nA=1\nB=2\nA=3\n[Other]\nA=4\n[LathemoorFX]\nA\n");
    Write("A", "9");
    EXPECT_EQ(File(), "\n[LathemoorFX]\nA=9\nB=2\nA=9\n\n[Other]\nA=4\n\n[LathemoorFX]\nA=9\n");
}

TEST_F(SettingsRewrite, a_second_rewrite_changes_nothing) {
    Put("top\n[LathemoorFX] A=1\r\n\tB=2\nC =\n;c\r\n[X]\n[LathemoorFX]\nD=\0"s);
    Write("UIScale", "150");
    std::string once = File();
    EXPECT_EQ(once, "top=\n\n[LathemoorFX]\nA=1\r\n\tB=2\nC =\n;c\r\nUIScale=150\n\n[X]\n"
                    "\n[LathemoorFX]\nD=\n\0=\n"s);
    Write("UIScale", "150");
    EXPECT_EQ(File(), once);
}

TEST_F(SettingsRewrite, a_shorter_result_cuts_the_file_and_the_unread_tail_is_lost) {
    Put("[LathemoorFX]\nA=" + std::string(5000, 'x') + "\n" + std::string(1100000, '\n') + "B=2\n");
    Write("A", "1");
    EXPECT_EQ(File(), "\n[LathemoorFX]\nA=1\n");
}

TEST_F(SettingsRewrite, results_up_to_999999_bytes_are_stored_and_longer_ones_are_not) {
    // A normal-form file that gains "A=1\n": n + 16 bytes before, n + 20 after.
    for (size_t n : {999999 - 20, 999999 - 19}) {
        std::string before = ";" + std::string(n - 1, 'x') + "\n\n[LathemoorFX]\n";
        Put(before);
        Write("A", "1");
        std::string after = File();
        if (n + 20 <= 999999) EXPECT_EQ(after, before + "A=1\n") << n;
        else EXPECT_EQ(after, before) << n;
    }
}

// ---- start-up ----

TEST_F(SettingsAtStart, first_instance_reads_the_interface_settings_and_zero_takes_the_default) {
    Put("[LathemoorFX]\nUIScale=150\nUIRefresh=0\nUISkin=abc\nLFOPhaseIndicator=3\n");
    static const clap_host_t HOST = {CLAP_VERSION_INIT, nullptr, "test", "test", "", "1",
                                     [](const clap_host_t *, const char *) -> const void * {
                                         return nullptr;
                                     },
                                     nullptr, nullptr, nullptr};
    ASSERT_EQ(globals.instanceCount, 0);
    auto factory = (const clap_plugin_factory_t *)clap_entry.get_factory(CLAP_PLUGIN_FACTORY_ID);
    const clap_plugin_t *plugin = factory->create_plugin(factory, &HOST, "orwen.LathemoorFX");
    ASSERT_TRUE(plugin && plugin->init(plugin));
    EXPECT_EQ(uiScale, 150);
    EXPECT_EQ(globals.uiRefreshMs, 50);
    EXPECT_EQ(uiSkin, 1);
    EXPECT_EQ(globals.dialSmoothing, 2);
    EXPECT_EQ(globals.lfoPhaseIndicator, 3);
    plugin->destroy(plugin);
}
