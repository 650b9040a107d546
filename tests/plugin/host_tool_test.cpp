// The command-line host: the patch files it makes from a state, and its
// commands run as a user runs them.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id POST_GAIN = 0, REVERB_MIX = 103, EFFECT_SLOT_1 = 223;

// A state whose values, reserved bytes and curves all differ from a new instance's.
std::vector<uint8_t> MarkedState() {
    std::vector<uint8_t> state = StateWith(Ramp(), OddCurves());
    for (size_t i = STATE_RESERVED_AT; i < STATE_CURVES_AT; i++) state[i] = uint8_t(i);
    return state;
}

TEST(HostToolPatch, a_synthpatch_from_a_state_has_the_file_layout) {
    std::vector<uint8_t> state = MarkedState(), file = SynthPatchFromState(state, "Marked");
    ASSERT_EQ(file.size(), state.size() - 4);
    EXPECT_EQ(GetLE<uint64_t>(file, 0), 0x95A130791400F613ull);
    EXPECT_EQ(GetLE<uint64_t>(file, 8), 13u);
    EXPECT_STREQ((const char *)&file[16], "Marked");
    // Values and reserved bytes: 8 bytes earlier than in the stream.
    EXPECT_TRUE(std::equal(file.begin() + 116, file.begin() + 1716, state.begin() + 124));
    for (size_t i = 1716; i < 1720; i++) EXPECT_EQ(file[i], 0) << i;
    EXPECT_TRUE(std::equal(file.begin() + 1720, file.end(), state.begin() + 1724));
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
    EXPECT_NE(run.output.find("Wide room"), std::string::npos) << run.output;
    std::vector<uint8_t> file = ReadFileBytes(path);
    EXPECT_EQ(GetLE<uint64_t>(file, 0), SYNTHPATCH_MAGIC);
    EXPECT_STREQ((const char *)&file[FILE_NAME_AT], "Wide room");
    std::vector<CurveImage> curves = DefaultCurveImages();  // one modulator's curve replaced
    curves[1].points = {{0.0f, 0.0f, 0.0f}, {0.25f, 1.0f, 3.0f}, {1.0f, 0.5f, -2.0f}};
    EXPECT_EQ(std::vector<uint8_t>(file.begin() + FILE_CURVES_AT, file.end()), CurveBlockBytes(curves));
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadPresetFile(*instance, path));
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
    EXPECT_EQ(GetParamValue(*instance, REVERB_MIX), 0.75);
    EXPECT_EQ(GetParamValue(*instance, EFFECT_SLOT_1), double(8.0f / 65536));
}

TEST(HostToolCommand, render_starts_from_a_patch_or_a_state_and_saves_the_state_after) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string in = folder.File("in.wav"), patch = folder.File("start.synthpatch");
    WriteWav(in, Noise(9600, 4), 48000);
    WriteFileBytes(patch, SynthPatchFromState(MarkedState(), "start"));
    std::string out1 = folder.File("out1.wav"), state1 = folder.File("one.state");
    ToolRun first = RunTool({"render", in, out1, "--patch", patch, "--chain", "Reverb", "--set", "Reverb Mix=0.5",
                             "--state-out", state1});
    ASSERT_EQ(first.status, 0) << first.output;
    std::vector<uint8_t> saved = ReadFileBytes(state1);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, saved));
    EXPECT_EQ(GetParamValue(*instance, REVERB_MIX), 0.5);
    EXPECT_EQ(NameOf(saved), "start");
    EXPECT_EQ(CurvesOf(saved), CurvesOf(MarkedState()));
    // The saved state gives the same sound and saves itself again unchanged.
    std::string out2 = folder.File("out2.wav"), state2 = folder.File("two.state");
    ToolRun second = RunTool({"render", in, out2, "--state-in", state1, "--state-out", state2});
    ASSERT_EQ(second.status, 0) << second.output;
    EXPECT_EQ(ReadFileBytes(state2), saved);
    EXPECT_EQ(FirstDifferentFrame(ReadWav(out1).audio, ReadWav(out2).audio), -1);
}

TEST(HostToolCommand, options_of_other_commands_bad_curves_and_unloadable_files_are_refused) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string in = folder.File("in.wav"), out = folder.File("out.wav"), patch = folder.File("x.synthpatch");
    WriteWav(in, Noise(480), 48000);
    std::string text = WriteTo(folder, "text.synthpatch", std::vector<uint8_t>(2000, 'x'));
    const struct { std::vector<std::string> arguments; const char *message; } cases[] = {
        {{"save-patch", patch, "--tempo", "120"}, "--tempo does not belong to save-patch"},
        {{"save-patch"}, "save-patch wants OUT.synthpatch"},
        {{"render", in, out, "--patch", text}, "could not load this patch"},
        {{"render", in, out, "--state-in", text}, "refused this state"},
        {{"save-patch", patch, "--curve", "4:0,0;1,1"}, ""},
        {{"save-patch", patch, "--curve", "1:0,0;x,1"}, ""},
    };
    for (const auto &c : cases) {
        ToolRun run = RunTool(c.arguments);
        EXPECT_EQ(run.status, 1) << c.arguments.back() << ": " << run.output;
        EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
    }
    EXPECT_NE(access(patch.c_str(), F_OK), 0);
}

}  // namespace
