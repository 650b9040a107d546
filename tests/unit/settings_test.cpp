// The settings file: the ini walker on its own, then the reader and the
// rewriting writer on real files in a temporary HOME, and what the first
// instance reads at start.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "store/settings.h"
#include "tests/support/shell_rig.h"
#include "toolkit/scale.h"

namespace {

using namespace std::string_literals;  // "...\0..."s keeps zero bytes

// Each item as one line: kind, section, key and value, texts taken by length.
std::vector<std::string> Walk(std::string data) {
    data += '\0';
    IniCursor cursor = {};
    cursor.cursor = &data[0];
    cursor.remaining = data.size() - 1;
    std::vector<std::string> items;
    while (IniNext(&cursor, false)) {
        const char *kind = cursor.item == INI_SECTION ? "S" : cursor.item == INI_COMMENT ? "C" : "K";
        items.push_back(kind + "|"s + std::string(cursor.section, cursor.sectionLength) + "|" +
                        std::string(cursor.key, cursor.keyLength) + "|" +
                        std::string(cursor.value, cursor.valueLength));
    }
    return items;
}

int32_t Int(const std::string &key) { return SettingsReadInt(Wide(key).c_str()); }

std::optional<std::u32string> Text(const std::string &key) {
    char32_t *text = SettingsReadText(Wide(key).c_str(), 0);
    if (!text) return std::nullopt;
    std::u32string result = text;
    free(text);
    return result;
}

void Write(const std::string &key, const std::string &value) {
    SettingsWrite(Wide(key).c_str(), Wide(value).c_str());
}

TEST(SettingsIni, walks_items_byte_for_byte_without_trimming_and_zero_bytes_end_texts) {
    EXPECT_EQ(Walk("A=1\n \r\n [S] \tB = 2\r\n;c=x\r\nC\n[T]\n=v\r\nD="), (std::vector<std::string>{
        "K||A|1",         // before any header: the section with the empty name
        "S|S||",
        "K|S|\tB | 2\r",  // the rest of the header's line; the tab starts the key
        "C|S|;c=x\r|",    // a comment keeps its "=" and carriage return in its text
        "K|S|C|",         // no "="
        "S|T||",
        "K|T||v\r",       // an empty key
        "K|T|D|",         // cut by the end of the data
    }));
    EXPECT_EQ(Walk("A=1\0B=2\n[X\0]Y\n;c\0d\n[e\nf"s), (std::vector<std::string>{
        "K||A|1",
        "K||\0B|2"s,   // the zero byte that ended the value starts the next key
        "S|X||",
        "K|X|\0]Y|"s,  // ...also after a header
        "C|X|;c|",     // a comment consumes its zero byte
        "K|X|d|",
        "S|e\nf||",    // a name runs over line feeds up to the "]" or the end
    }));
}

TEST(SettingsRead, values_come_from_exact_keys_of_the_first_own_section_in_999999_bytes_and_need_a_home) {
    TempHome home;
    EXPECT_EQ(Int("UIRefresh"), 0);  // no file: 0 and null
    EXPECT_FALSE(Text("UserPatches"));
    const struct { const char *line; int32_t value; } cases[] = {
        {"UIScale=150abc", 150}, {"UIScale =150", 0}, {"uiscale=150", 0}, {"UIScale=-25\r", -25},
        {"UIScale=99999999999", INT32_MAX}};
    for (auto c : cases) {
        home.PutSettings("[LathemoorFX]\n"s + c.line + "\n");
        EXPECT_EQ(Int("UIScale"), c.value) << c.line;
    }
    home.PutSettings("UIScale=1\n[Other]\nUIScale=2\n[lathemoorfx]\nUIScale=3\n[LathemoorFX ]\nUIScale=4\n"
                     "[LathemoorFX]\nUISkin=5\n;UIScale=6\n[LathemoorFX]\nUISkin=7\n");
    EXPECT_EQ(Int("UIScale"), 0);
    EXPECT_EQ(Int("UISkin"), 5);

    // Texts keep carriage returns and sign-extend bytes; no "=" reads as empty.
    home.PutSettings("[LathemoorFX]\r\nCustomSkin=/a/b\r\nUserPatches=/m\xE9n\nCustomInitPatch\nUserContent=\n");
    EXPECT_EQ(Text("CustomSkin"), U"/a/b\r");
    EXPECT_EQ(Text("UserPatches"), (std::u32string{U'/', U'm', (char32_t)0xFFFFFFE9, U'n'}));
    EXPECT_EQ(Text("CustomInitPatch"), U"");
    EXPECT_FALSE(Text("UserContentStore"));

    // "B=23": the "3" is the file's byte 999,999, the first one not read.
    std::string head = "[LathemoorFX]\n;";
    head += std::string(999999 - 3 - 1 - head.size(), 'x') + "\n";
    home.PutSettings(head + "B=23\nC=3\n");
    EXPECT_EQ(Int("B"), 2);
    EXPECT_EQ(Int("C"), 0);

    // A path built from a null HOME would be "(null)/.config/..." here.
    ASSERT_EQ(chdir(home.home.c_str()), 0);
    mkdir("(null)", 0755);
    mkdir("(null)/.config", 0755);
    TempHome::WriteWholeFile("(null)/.config/OrwenAudioPlugins.ini", "[LathemoorFX]\nUIScale=150\n");
    unsetenv("HOME");
    EXPECT_EQ(Int("UIScale"), 0);
    Write("UIScale", "200");
    EXPECT_EQ(TempHome::ReadWholeFile("(null)/.config/OrwenAudioPlugins.ini"), "[LathemoorFX]\nUIScale=150\n");
}

TEST(SettingsRewrite, a_write_creates_the_file_or_puts_the_key_at_the_end_of_its_section_keeping_every_line) {
    TempHome home;
    Write("UIScale", "150");
    EXPECT_EQ(home.Settings(), "\n[LathemoorFX]\nUIScale=150\n");
    ASSERT_EQ(system(("rm -rf '" + home.home + "/.config'").c_str()), 0);
    Write("UIScale", "150");  // the folder is not made
    EXPECT_NE(access((home.home + "/.config").c_str(), F_OK), 0);
    mkdir((home.home + "/.config").c_str(), 0755);

    const struct { std::string before, key, after; } cases[] = {
        {"; shared by all plug-ins\r\n\n[Other]\n  Zoom=2\n\n\n[LathemoorFX]\nUIRefresh=17\n"
         "; keep me\n\n[Third]\nX=1",
         "UIScale",
         "; shared by all plug-ins\r\n\n[Other]\nZoom=2\n\n[LathemoorFX]\nUIRefresh=17\n; keep me\n"
         "UIScale=150\n\n[Third]\nX=1\n"},
        {"[LathemoorFX]\nA=1\nB=2\nA=3\n[Other]\nA=4\n[LathemoorFX]\nA\n", "A",  // every line of the key
         "\n[LathemoorFX]\nA=150\nB=2\nA=150\n\n[Other]\nA=4\n\n[LathemoorFX]\nA=150\n"},
        {"top\n[LathemoorFX] A=1\r\n\tB=2\nC =\n;c\r\n[X]\n[LathemoorFX]\nD=\0"s, "UIScale",
         "top=\n\n[LathemoorFX]\nA=1\r\n\tB=2\nC =\n;c\r\nUIScale=150\n\n[X]\n\n[LathemoorFX]\nD=\n\0=\n"s},
        // A shorter result cuts the file, and the unread tail is lost.
        {"[LathemoorFX]\nA=" + std::string(5000, 'x') + "\n" + std::string(1100000, '\n') + "B=2\n", "A",
         "\n[LathemoorFX]\nA=150\n"},
    };
    for (const auto &c : cases) {
        home.PutSettings(c.before);
        Write(c.key, "150");
        EXPECT_EQ(home.Settings(), c.after) << c.before.substr(0, 40);
        Write(c.key, "150");  // a second rewrite changes nothing
        EXPECT_EQ(home.Settings(), c.after) << c.before.substr(0, 40);
    }
    EXPECT_EQ(Int("A"), 150);
    // A normal-form file that gains "A=1\n": n + 16 bytes before, n + 20 after;
    // up to 999,999 bytes are stored, longer results are not.
    for (size_t n : {999999 - 20, 999999 - 19}) {
        std::string before = ";" + std::string(n - 1, 'x') + "\n\n[LathemoorFX]\n";
        home.PutSettings(before);
        Write("A", "1");
        EXPECT_EQ(home.Settings(), n + 20 <= 999999 ? before + "A=1\n" : before) << n;
    }
}

TEST(SettingsAtStart, the_first_instance_reads_the_interface_settings_and_zero_takes_the_default) {
    TempHome home;
    home.PutSettings("[LathemoorFX]\nUIScale=150\nUIRefresh=0\nUISkin=abc\nLFOPhaseIndicator=3\n");
    static const clap_host_t HOST = MakeHost();
    ASSERT_EQ(globals.instanceCount, 0);
    const clap_plugin_t *plugin = NewPlugin(&HOST);
    EXPECT_EQ(uiScale, 150);
    EXPECT_EQ(globals.uiRefreshMs, 50);
    EXPECT_EQ(uiSkin, 1);
    EXPECT_EQ(globals.lfoPhaseIndicator, 3);
    plugin->destroy(plugin);
}

}  // namespace
