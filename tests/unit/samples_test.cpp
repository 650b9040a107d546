// The sample library and WAV import: WAV files put together byte by byte, a
// library folder in a temporary HOME, and its `.dat` files and index read back.
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "store/samples.h"
#include "store/wav_import.h"
#include "tests/support/shell_rig.h"

namespace {

std::string Le(uint64_t value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; i++) out += (char)(value >> (8 * i));
    return out;
}

std::string Chunk(const std::string &id, const std::string &body) {
    return id + Le(body.size(), 4) + body + (body.size() % 2 ? std::string(1, '\0') : "");
}

std::string Riff(const std::string &chunks) { return "RIFF" + Le(4 + chunks.size(), 4) + "WAVE" + chunks; }

std::string Fmt(int format, int channels, int rate, int bits) {
    int frameBytes = channels * bits / 8;
    return Chunk("fmt ", Le(format, 2) + Le(channels, 2) + Le(rate, 4) + Le(rate * frameBytes, 4) +
                             Le(frameBytes, 2) + Le(bits, 2));
}

std::string Ints(const std::vector<int32_t> &values, int bytes) {
    std::string out;
    for (int32_t value : values) out += Le((uint32_t)value, bytes);
    return out;
}

std::string Floats(const std::vector<float> &v) { return std::string((const char *)v.data(), v.size() * 4); }

// A 16-bit file of these values; extra chunks go between "fmt " and "data".
std::string Wav16(const std::vector<int32_t> &values, int channels = 1, const std::string &extra = "",
                  int rate = 44100) {
    return Riff(Fmt(1, channels, rate, 16) + extra + Chunk("data", Ints(values, 2)));
}

// A "smpl" chunk with these loops, each start and end.
std::string Smpl(const std::vector<std::pair<uint32_t, uint32_t>> &loops) {
    std::string body = std::string(28, '\0') + Le(loops.size(), 4) + Le(0, 4);
    for (auto loop : loops) body += Le(0, 4) + Le(0, 4) + Le(loop.first, 4) + Le(loop.second, 4) + Le(0, 8);
    return Chunk("smpl", body);
}

std::vector<int32_t> Ramp(size_t count) {
    std::vector<int32_t> values(count);
    for (size_t i = 0; i < count; i++) values[i] = (int32_t)(i % 200) * 100 - 10000;
    return values;
}

// A .dat file: its 24-byte header as laid out on disk, then the samples.
struct DatHeader {
    uint64_t magic;
    uint32_t sampleRate, loopStart, frames;
    uint16_t tableFrameSize;
    uint8_t channels, tag;
};
static_assert(sizeof(DatHeader) == SAMPLE_HEADER_SIZE, "the header as on disk");
struct Dat : DatHeader {
    std::vector<float> samples;
    // Rate, frames, channels, tag, loop start and table frame size.
    std::vector<uint32_t> Shape() const { return {sampleRate, frames, channels, tag, loopStart, tableFrameSize}; }
};

struct Library {
    TempHome home;
    std::string folder = home.home + "/library";
    Library() {
        mkdir(folder.c_str(), 0755);
        home.PutSettings("[LathemoorFX]\nUserContentStore=" + folder + "/\n");
        SampleIndexLoad();
    }
    ~Library() { SampleIndexFree(); }

    // The failure's text, or "" with id set.
    std::string Import(const std::string &wav, const char *name = "s", uint32_t tag = 0,
                       uint32_t kind = SAMPLE_CATEGORY_SAMPLE, uint64_t *id = nullptr, bool replace = false) {
        uint64_t ignored = 0;
        const char *message = SampleImport((const uint8_t *)wav.data(), wav.size(), name, tag, 7, kind,
                                           id ? id : &ignored, replace);
        return message ? message : "";
    }
    std::string Index() const { return TempHome::ReadWholeFile(folder + "/index.ini"); }
    std::string DatPath(uint64_t id) const {
        char name[32];
        snprintf(name, sizeof name, "/%016llX.dat", (unsigned long long)id);
        return folder + name;
    }
    Dat Read(uint64_t id) const {
        std::string bytes = TempHome::ReadWholeFile(DatPath(id));
        Dat dat = {};
        if (bytes == "<none>" || bytes.size() < SAMPLE_HEADER_SIZE) return dat;
        memcpy((DatHeader *)&dat, bytes.data(), SAMPLE_HEADER_SIZE);
        dat.samples.resize((bytes.size() - SAMPLE_HEADER_SIZE) / sizeof(float));
        memcpy(dat.samples.data(), bytes.data() + SAMPLE_HEADER_SIZE, dat.samples.size() * sizeof(float));
        return dat;
    }
};

const std::string NOT_ENCODED = "The file is not encoded correctly. ";
const std::string NOT_STANDARD = "The file is not in the standard WAV format. ";
const std::string MISSING = "The WAV file is missing sample data or format information. (W7)";
const std::string FORMAT = "The file contains samples in an unsupported format.\r\nThe supported formats are: "
                           "16-bit integer, 24-bit integer and 32-bit float.";
const std::string RATE = "The sample rate is out of the supported range (1 kHz to 1000 kHz).";
const std::string CLM = Chunk("clm ", "<!>2048 10000000 wavetable (tablesmith.example)" + std::string(4, ' '));

// A row as "id category subcategory name", or "-" for none.
std::string Row(uint64_t id) {
    const SampleRow *row = SampleFind(id);
    if (!row) return "-";
    return std::to_string(row->id) + " " + std::to_string(row->category) + " " +
           std::to_string(row->subcategory) + " " + row->name;
}

TEST(SampleIndex, rows_need_a_16_character_section_and_a_name_and_are_sorted_by_id) {
    Library library;
    FakeZenity zenity(library.home);
    EXPECT_EQ(sampleList.count, 0u);   // no index: an empty list and no message
    TempHome::WriteWholeFile(library.folder + "/index.ini",
        "[00000000000000A2]\ncategory=wavetable\nsubcategory=7\nname=Second\n\n"
        "[000000000000001]\ncategory=sample\nname=Short\n\n"
        "[00000000000000a1]\ncategory=sample\nsubcategory=-3\nname=First\n"
        "[00000000000000A3]\ncategory=sample\nsubcategory=1\n");
    SampleIndexLoad();
    ASSERT_EQ(sampleList.count, 2u);
    EXPECT_EQ(sampleList.rows[0].id, 0xA1u);
    EXPECT_EQ(Row(0xA1), "161 " + std::to_string(SAMPLE_CATEGORY_SAMPLE) + " -3 First");
    EXPECT_EQ(Row(0xA2), "162 " + std::to_string(SAMPLE_CATEGORY_WAVETABLE) + " 7 Second");
    EXPECT_EQ(Row(0xA3) + Row(0x1), "--");   // no name; 15 characters
    EXPECT_EQ(zenity.Calls(), "");

    // The first instance loads the index; the last one frees it.
    SampleIndexFree();
    clap_host_t host = MakeHost();
    const clap_plugin_t *plugin = NewPlugin(&host);
    EXPECT_TRUE(SampleFind(0xA2));
    plugin->destroy(plugin);
    EXPECT_EQ(sampleList.count, 0u);

    // FNV-1a 64 of "foobar", the tag giving the last four bytes low first.
    EXPECT_EQ(SampleHash((const uint8_t *)"fo", 2, 'o' | 'b' << 8 | 'a' << 16 | 'r' << 24),
              0x85944171F73967E8ull);
}

TEST(SampleIndex, delete_asks_keeps_a_backup_and_refuses_gone_and_factory_rows) {
    Library library;
    FakeZenity zenity(library.home);
    const std::string index = "; hand-made\n[00000000000000B1]\nname=One\n[00000000000000B2]\nname=Two\n";
    TempHome::WriteWholeFile(library.folder + "/index.ini", index);
    TempHome::WriteWholeFile(library.DatPath(0xB1), "x");
    SampleIndexLoad();

    zenity.Answer("", 1);   // no: nothing changes
    SampleDelete(0xB1);
    EXPECT_EQ(library.Index(), index);
    EXPECT_EQ(TempHome::ReadWholeFile(library.folder + "/index_backup.ini"), "<none>");

    zenity.Answer("", 0);
    SampleDelete(0xB1);
    EXPECT_EQ(TempHome::ReadWholeFile(library.folder + "/index_backup.ini"), index);
    EXPECT_EQ(library.Index(), "; hand-made\n\n[00000000000000B2]\nname=Two\n");
    EXPECT_EQ(TempHome::ReadWholeFile(library.DatPath(0xB1)), "<none>");
    EXPECT_TRUE(!SampleFind(0xB1) && SampleFind(0xB2));

    SampleDelete(0xB1);
    SampleAddFactoryRow(0xF0000000000000B3ull, SAMPLE_CATEGORY_SAMPLE, 0, "Factory row");
    SampleIndexLoad();
    ASSERT_TRUE(SampleFind(0xF0000000000000B3ull));
    SampleDelete(0xF0000000000000B3ull);
    std::string calls = zenity.WaitForCalls(6);   // two questions of two lines, two messages
    EXPECT_NE(calls.find("|--question|--text|Delete the sample? \nAll patches that use it will break."),
              std::string::npos) << calls;
    EXPECT_NE(calls.find("|This sample has already been deleted.\n"), std::string::npos) << calls;
    EXPECT_NE(calls.find("|This sample is in the factory ROM and cannot be deleted.\n"), std::string::npos);
    EXPECT_TRUE(SampleFind(0xF0000000000000B3ull));

    // A library without its index cannot be rewritten (asked again: two lines more).
    unlink((library.folder + "/index.ini").c_str());
    SampleDelete(0xB2);
    EXPECT_NE(zenity.WaitForCalls(9).find("|The sample database could not be updated.\n"),
              std::string::npos);
}

TEST(WavImport, each_fault_of_the_file_has_its_own_message) {
    Library library;
    std::vector<int32_t> five = Ramp(5);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"RIFF\4\0\0\0WAV", "The sample data is too small."},
        {"RIFX" + Wav16(five).substr(4), NOT_STANDARD + "(W1)"},
        {"RIFF" + Le(Wav16(five).size() - 7, 4) + Wav16(five).substr(8), NOT_STANDARD + "(W2)"},
        {"RIFF" + Le(Wav16(five).size() - 8, 4) + "WAVX" + Wav16(five).substr(12), NOT_STANDARD + "(W3)"},
        {"RIFF" + Le(4, 4) + "WAVE" + Fmt(1, 1, 44100, 16), MISSING},   // the RIFF block is empty
        {"RIFF" + Le(12, 4) + "WAVE" + std::string(8, 'x'), NOT_ENCODED + "(W4)"},   // 20 bytes
        {Riff(Fmt(1, 1, 44100, 16) + "xyz"), NOT_ENCODED + "(W4)"},   // a header cut by the end
        {Riff("junk" + Le(1000, 4) + std::string(30, 'x')), NOT_ENCODED + "(W5)"},
        {"RIFF" + Le(16, 4) + "WAVE" + "junk" + Le(10, 4) + std::string(10, 'x'), NOT_ENCODED + "(W6)"},
        {Riff(Fmt(1, 1, 44100, 16) + Chunk("junk", "x")), MISSING},
        {Riff(Chunk("data", Ints(five, 2)) + Chunk("junk", "x")), MISSING},
        {Riff(Fmt(1, 1, 44100, 8) + Chunk("data", std::string(8, 'x'))), FORMAT},
        {Riff(Fmt(3, 1, 44100, 16) + Chunk("data", Ints(five, 2))), FORMAT},
        {Riff(Fmt(1, 3, 44100, 16) + Chunk("data", Ints(Ramp(15), 2))),
         "The contains an unsupported number of stereo channels.\r\nOnly mono and 2-channel stereo "
         "samples are supported."},
        {Wav16(five, 1, "", 999), RATE},
        {Wav16(five, 1, "", 1000001), RATE},
        {Wav16(Ramp(11), 2), NOT_ENCODED + "(W8)"},   // 22 bytes of 4-byte frames
        {Wav16(Ramp(4)), "The file contains too few samples (less than 5)."},
        {Wav16(Ramp(6), 1, Smpl({{6, 6}})), NOT_ENCODED + "(W9)"},
        {Wav16(Ramp(6), 1, Smpl({{1, 7}})), NOT_ENCODED + "(W10)"},
        {Wav16(Ramp(6), 1, Smpl({{3, 2}})), NOT_ENCODED + "(W11)"},
    };
    for (const auto &test : cases) EXPECT_EQ(library.Import(test.first), test.second) << test.second;
    const std::vector<std::pair<std::string, std::string>> tables = {
        {Wav16(Ramp(63)), "The wavetable contains an unsupported wavetable frame size.\r\n64 to 8192 "
                          "samples is the supported range."},
        {Wav16(Ramp(3000), 1, CLM), "The size of wavetable frames does not divide the number of "
                                    "samples in the file."},
        {Wav16(Ramp(2048 * 257), 1, CLM), "The sample contains too many wavetable frames. The maximum is 256."},
    };
    for (const auto &test : tables)
        EXPECT_EQ(library.Import(test.first, "t", 0, SAMPLE_CATEGORY_WAVETABLE), test.second) << test.second;
    EXPECT_EQ(library.Index(), "<none>");   // nothing reached the library

    // The file layer: sizes are refused before the file is read.
    std::string path = library.home.home + "/in.wav";
    auto importFile = [&](const std::string &bytes) {
        TempHome::WriteWholeFile(path, bytes);
        uint64_t id = 0;
        const char *message = SampleImportPath(path.c_str(), "f", 0, 0, SAMPLE_CATEGORY_SAMPLE, &id, false);
        return std::string(message ? message : "");
    };
    EXPECT_EQ(importFile(std::string(16, 'x')), "The file is too small to import.");
    EXPECT_EQ(importFile("RIFF" + Le(9, 4) + "WAVE" + std::string(5, 'x')), NOT_ENCODED + "(W4)");
    uint64_t id = 0;
    EXPECT_STREQ(SampleImportPath((path + "-gone").c_str(), "f", 0, 0, 1, &id, false),
                 "The selected file could not be accessed.");

    library.home.PutSettings("[LathemoorFX]\n");
    EXPECT_EQ(library.Import(Wav16(five)), "The sample library has not been created yet.");
}

TEST(WavImport, samples_are_normalised_f32_frames_with_their_header_and_an_index_row) {
    Library library;
    uint64_t id = 0;
    std::string wav = Wav16({16384, -32768, 0, 100, 32767, 1, -1, -16384, 0, 0}, 2);
    ASSERT_EQ(library.Import(wav, "Drum", 0x1234, SAMPLE_CATEGORY_SAMPLE, &id), "");
    EXPECT_EQ(id, SampleHash((const uint8_t *)wav.data(), wav.size(), 0x1234));
    Dat dat = library.Read(id);
    EXPECT_EQ(dat.magic, SAMPLE_FILE_MAGIC);
    EXPECT_EQ(dat.Shape(), (std::vector<uint32_t>{44100, 5, 2, 0x34, 0, 0}));
    ASSERT_EQ(dat.samples.size(), 10u);
    EXPECT_FLOAT_EQ(dat.samples[1], -1.0f);   // the largest magnitude becomes full scale
    for (int i : {0, 4, 7})                   // interleaved, left first
        EXPECT_NEAR(dat.samples[i], (float)(i == 0 ? 0.5 : i == 4 ? 1 : -0.5), 1e-4);
    EXPECT_EQ(library.Index(), "\n[" + library.DatPath(id).substr(library.folder.size() + 1, 16) +
                                   "]\ncategory=sample\nsubcategory=7\nname=Drum\n");
    ASSERT_TRUE(SampleFind(id));

    // The same bytes and tag again are refused with the old id; new tags of the same name are numbered.
    uint64_t again = 0;
    EXPECT_EQ(library.Import(wav, "Drum", 0x1234, SAMPLE_CATEGORY_SAMPLE, &again),
              "The sample has already been imported into the library.");
    EXPECT_EQ(again, id);
    uint64_t second = 0, third = 0;
    EXPECT_EQ(library.Import(wav, "Drum", 0x99, SAMPLE_CATEGORY_SAMPLE, &second), "");
    EXPECT_EQ(library.Import(wav, "Drum", 0x98, SAMPLE_CATEGORY_SAMPLE, &third), "");
    EXPECT_EQ(std::string(SampleFind(second)->name) + SampleFind(third)->name, "Drum (2)Drum (3)");
    EXPECT_EQ(library.Read(third).tag, 0x98u);

    // A quiet file is stored as it is; 24-bit values keep their sign.
    std::vector<float> quiet = {0.00005f, -0.00002f, 0, 0.00001f, 0};
    ASSERT_EQ(library.Import(Riff(Fmt(3, 1, 48000, 32) + Chunk("data", Floats(quiet))), "Quiet", 0,
                             SAMPLE_CATEGORY_SAMPLE, &id), "");
    EXPECT_EQ(library.Read(id).samples, quiet);
    ASSERT_EQ(library.Import(Riff(Fmt(1, 1, 96000, 24) +
                                  Chunk("data", Ints({-8388608, -1, 8388607, 0x400000, 0, 0}, 3))),
                             "Deep", 0, SAMPLE_CATEGORY_SAMPLE, &id), "");
    dat = library.Read(id);
    ASSERT_EQ(dat.samples.size(), 6u);
    EXPECT_FLOAT_EQ(dat.samples[0], -1.0f);
    EXPECT_TRUE(dat.samples[1] < 0 && dat.samples[1] > -1e-6f);
    EXPECT_NEAR(dat.samples[2], 1.0f, 1e-6);
    EXPECT_NEAR(dat.samples[3], 0.5f, 1e-6);

    // The file layer reads what is on the disk.
    std::string path = library.home.home + "/in.wav";
    TempHome::WriteWholeFile(path, Wav16(Ramp(9)));
    EXPECT_TRUE(SampleImportFile(path.c_str(), "From file", 0, 2, SAMPLE_CATEGORY_SAMPLE, &id, false));
    EXPECT_EQ(library.Read(id).frames, 9u);
    EXPECT_STREQ(SampleFind(id)->name, "From file");
}

TEST(WavImport, loops_cut_samples_wavetables_take_the_marked_frame_size_and_replace_writes_id_1) {
    Library library;
    uint64_t id = 0;
    ASSERT_EQ(library.Import(Wav16(Ramp(8), 1, Smpl({{2, 6}})), "Loop", 0, SAMPLE_CATEGORY_SAMPLE, &id), "");
    EXPECT_EQ(library.Read(id).Shape(), (std::vector<uint32_t>{44100, 6, 1, 0, 2, 0}));
    ASSERT_EQ(library.Import(Wav16(Ramp(8), 1, Smpl({{2, 6}, {1, 3}})), "Two", 0, SAMPLE_CATEGORY_SAMPLE, &id), "");
    EXPECT_EQ(library.Read(id).Shape(), (std::vector<uint32_t>{44100, 8, 1, 0, 0, 0}));

    ASSERT_EQ(library.Import(Wav16(Ramp(4096), 1, CLM), "Table", 0, SAMPLE_CATEGORY_WAVETABLE, &id), "");
    EXPECT_EQ(library.Read(id).Shape(), (std::vector<uint32_t>{44100, 4096, 1, 0, 0, 2048}));
    EXPECT_EQ(SampleFind(id)->category, (uint32_t)SAMPLE_CATEGORY_WAVETABLE);
    // One frame; "smpl" means nothing here.
    ASSERT_EQ(library.Import(Wav16(Ramp(256), 1, Smpl({{2, 6}})), "One frame", 0, SAMPLE_CATEGORY_WAVETABLE, &id), "");
    EXPECT_EQ(library.Read(id).Shape(), (std::vector<uint32_t>{44100, 256, 1, 0, 0, 256}));

    std::string index = library.Index();
    for (int round = 0; round < 2; round++) {
        id = 0;
        ASSERT_EQ(library.Import(Wav16(Ramp(10 + round)), "Scratch", 0, SAMPLE_CATEGORY_SAMPLE, &id, true), "");
        EXPECT_EQ(id, 1u);
        EXPECT_EQ(library.Read(1).frames, 10u + round);
    }
    EXPECT_EQ(library.Index(), index);
}

}  // namespace
