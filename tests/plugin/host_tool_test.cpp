// The command-line host: the patch files it makes from a state, and its
// commands run as a user runs them.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id POST_GAIN = 0, REVERB_MIX = 103, EFFECT_SLOT_1 = 223;

// The file carries the state's values, reserved bytes and curves under the
// patch file's header, as a file laid out byte by byte has them.
TEST(HostToolPatch, a_synthpatch_from_a_state_has_the_file_layout) {
    std::vector<uint8_t> state = StateWith(Ramp(), OddCurves());
    for (size_t i = 0; i < PATCH_RESERVED_BYTES; i++) state[STATE_RESERVED_AT + i] = uint8_t(3 * i + 5);
    EXPECT_EQ(SynthPatchFromState(state, "Marked"), PatchFile("Marked", Ramp()));
    std::vector<uint8_t> wrongLength = state, wrongMagic = state;
    SetLE<uint32_t>(wrongLength, 0, 1800);
    SetLE(wrongMagic, 4, SYNTHPATCH_MAGIC);
    for (const std::vector<uint8_t> &bad : {wrongLength, wrongMagic, std::vector<uint8_t>()})
        EXPECT_THROW(SynthPatchFromState(bad, "x"), HostError);
}

// The command-line tool next to the plug-in this build made, or "" when it
// has not been built.
std::string ToolPath() {
    std::string plugin = LATHEMOOR_BUILT_PLUGIN;
    std::string tool = plugin.substr(0, plugin.rfind('/') + 1) + "lathemoor-host";
    return access(tool.c_str(), X_OK) == 0 ? tool : "";
}

std::string Quoted(const std::string &text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

struct ToolRun {
    int status = -1;
    std::string output;  // standard output and error together
};

// Runs the tool with these arguments on the test plug-in.
ToolRun RunTool(const std::vector<std::string> &arguments) {
    std::string command = Quoted(ToolPath()) + " --plugin " + Quoted(TestPluginPath());
    for (const std::string &argument : arguments) command += " " + Quoted(argument);
    ToolRun run;
    FILE *pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return run;
    char chunk[4096];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, pipe)) > 0) run.output.append(chunk, got);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

#define SKIP_WITHOUT_TOOL() \
    if (ToolPath().empty()) GTEST_SKIP() << "lathemoor-host has not been built"

TEST(HostToolCommand, save_patch_stores_chain_values_name_and_curves) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string path = folder.File("reverb.synthpatch");
    ToolRun run = RunTool({"save-patch", path, "--chain", "Reverb", "--set", "Post Gain=0.25", "--set", "103=0.75",
                           "--name", "Wide room", "--curve", "2:0,0;0.25,1,3;1,0.5,-2"});
    ASSERT_EQ(run.status, 0) << run.output;
    std::vector<uint8_t> file = ReadFileBytes(path);
    EXPECT_STREQ((const char *)&file[FILE_NAME_AT], "Wide room");
    std::vector<CurveImage> curves = DefaultCurveImages();  // one modulator's curve replaced
    curves[1].points = {{0.0f, 0.0f, 0.0f}, {0.25f, 1.0f, 3.0f}, {1.0f, 0.5f, -2.0f}};
    EXPECT_EQ(std::vector<uint8_t>(file.begin() + FILE_CURVES_AT, file.end()), CurveBlockBytes(curves));
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadPresetFile(*instance, path));
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
    EXPECT_EQ(GetParamValue(*instance, REVERB_MIX), 0.75);
    EXPECT_EQ(GetParamValue(*instance, EFFECT_SLOT_1), double(8.0f / 65536));
    EXPECT_EQ(RunTool({"save-patch", path, "--tempo", "120"}).status, 1);  // an option of another command
}

TEST(HostToolCommand, sample_import_prints_the_new_id_and_refuses_the_same_file_again) {
    SKIP_WITHOUT_TOOL();
    TemporaryHome home;
    std::string library = home.folder.File("library"), wav = home.folder.File("kick.wav");
    mkdir(library.c_str(), 0755);
    home.WriteSettings("[LathemoorFX]\nUserContentStore=" + library + "\n");
    WriteWav(wav, MakeStereo(64, 0.25f), 48000);
    ToolRun run = RunTool({"sample", "import", wav, "--tag", "5", "--subcategory", "3"});
    ASSERT_EQ(run.status, 0) << run.output;
    ASSERT_EQ(run.output.size(), 17u) << run.output;
    std::string id = run.output.substr(0, 16);
    std::vector<uint8_t> index = ReadFileBytes(library + "/index.ini");
    EXPECT_EQ(std::string(index.begin(), index.end()),
              "\n[" + id + "]\ncategory=sample\nsubcategory=3\nname=kick\n");
    EXPECT_EQ(ReadFileBytes(library + "/" + id + ".dat").size(), 24u + 64 * 2 * sizeof(float));
    run = RunTool({"sample", "import", wav, "--tag", "5", "--name", "Kick"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "lathemoor-host: The sample has already been imported into the library.\n");
}

TEST(HostToolCommand, render_with_meters_prints_the_compressors_levels_every_second_and_at_the_end) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string in = folder.File("level.wav"), out = folder.File("out.wav");
    WriteWav(in, MakeStereo(120000, 0.0315f), 48000);   // -30 dB, for 2.5 s in blocks of 10 ms
    ToolRun run = RunTool({"render", in, out, "--chain", "Compressor 2,Reverb", "--meters", "--block", "480"});
    ASSERT_EQ(run.status, 0) << run.output;
    // Makeup lifts the output by its default 2 dB.
    for (const char *line : {"meters    1.00 s: Compressor 2 in -30.0 dB out -28.0 dB\n",
                             "meters    2.50 s: Compressor 2 in -30.0 dB out -28.0 dB\n"})
        EXPECT_NE(run.output.find(line), std::string::npos) << line << run.output;
    run = RunTool({"render", in, out, "--meters"});
    EXPECT_NE(run.output.find("meters    2.50 s: no compressor in the chain\n"), std::string::npos) << run.output;
}

// The bank command on a HOME of the test's own: messages on the error
// stream with status 1, the question printed and taken as yes.
TEST(HostToolCommand, bank_export_and_import_run_as_the_plug_in_does) {
    SKIP_WITHOUT_TOOL();
    TemporaryHome home;
    const TemporaryFolder &folder = home.folder;
    for (const char *name : {"user", "source", "empty"}) mkdir(folder.File(name).c_str(), 0755);
    home.WriteSettings("[LathemoorFX]\nUserPatches=" + folder.File("user") + "\n");
    WriteFileBytes(folder.File("source/p.synthpatch"), {1, 2, 3});
    ToolRun empty = RunTool({"bank", "export", folder.File("empty"), folder.File("e.synthbank")});
    EXPECT_EQ(empty.status, 1);
    EXPECT_EQ(empty.output, "No patches were found in the folder. The bank was not saved.\n");
    ToolRun exported = RunTool({"bank", "export", folder.File("source"), folder.File("Set.synthbank")});
    EXPECT_EQ(exported.status, 0) << exported.output;
    ToolRun imported = RunTool({"bank", "import", folder.File("Set.synthbank")});
    EXPECT_EQ(imported.status, 0) << imported.output;
    EXPECT_EQ(imported.output.find("This bank contains 1 patch (0.00 MB), 0 folders and 0 samples (0.00 MB). "
                                   "The bank will be imported to: " + folder.File("user") + "/Set/\r\nContinue?\n"), 0u);
    EXPECT_EQ(ReadFileBytes(folder.File("user/Set/p.synthpatch")), std::vector<uint8_t>({1, 2, 3}));
}

}  // namespace
