// The modulators: the curve's shape at the phase, the phase from position,
// tempo and rate, the display ring, and modulation through the whole frame.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "store/curves.h"
#include "tests/support/engine_rig.h"

namespace {

const float SAMPLES_PER_BEAT = 24000.0f;  // 120 BPM at 48 kHz

const std::vector<CurvePoint> RAMP = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 0.0f}};

// An instance's context at 48 kHz with the default curves, and its Engine.
struct ModRig : EngineRig {
    void SetCurve(int m, const std::vector<CurvePoint> &points) {
        Curve &curve = context.curves[m];
        free(curve.points);
        curve.points = (CurvePoint *)malloc(points.size() * sizeof(CurvePoint));
        memcpy(curve.points, points.data(), points.size() * sizeof(CurvePoint));
        curve.pointCount = (uint16_t)points.size();
    }
    // Modulator m's output at a position, evaluated for a SubBlock of `count`.
    float At(double position, int m = 0, int count = 32) {
        TheEngine().modulatorPosition = position;
        float out[3];
        ModulatorsEvaluate(&TheEngine(), &context, count, out);
        return out[m];
    }
    // At x of a one-beat cycle (the default rate).
    float AtX(float x, int m = 0) { return At((double)x * SAMPLES_PER_BEAT, m); }
    void ShowMeters() { meter.metersWanted = meter.audioActive = 1; }
    void Play(double songPosition) { context.transportPlaying = 1, context.songPosition = songPosition; }
    // One block of `frames` frames of a constant 0.5 through the level-1 build.
    std::vector<float> Block(int frames) { return Run(std::vector<float>(2 * frames, 0.5f), frames, 1); }
    // Modulator m's destination j on a row with an amount.
    void Route(int m, int j, int row, float amount) {
        values[PARAM_MOD_DESTINATION + 3 * m + j] = ParamEncodeWhole(row);
        values[PARAM_MOD_AMOUNT + 3 * m + j] = amount;
    }
};

// The level in dB of a sample of the constant 0.5 after Post Gain, which
// spans -20 dB at 0 to +20 dB at 1: it shows the modulated value.
double Decibels(float sample) { return 20.0 * log10(sample / 0.5); }

TEST(Modulators, the_curve_is_followed_between_points_bent_by_tension_and_held_at_the_ends) {
    ModRig rig;
    rig.SetCurve(0, RAMP);
    EXPECT_EQ(rig.At(6000.0), 0.25f);
    EXPECT_EQ(rig.At(3 * 24000.0 + 6000.0), 0.25f);
    rig.SetCurve(1, {{0.2f, 0.3f, 0.0f}, {0.8f, 0.6f, 0.0f}});  // the ends are held, not wrapped
    EXPECT_EQ(rig.AtX(0.1f, 1), 0.3f);
    EXPECT_EQ(rig.AtX(0.99995f, 1), 0.6f);
    EXPECT_FLOAT_EQ(rig.AtX(0.5f, 1), 0.45f);
    // Neighbours closer than 0.0001 jump straight to the right one's level.
    rig.SetCurve(2, {{0.0f, 0.0f, 0.0f}, {0.5f, 0.2f, 0.0f}, {0.50005f, 0.9f, 0.0f}, {1, 1, 0}});
    EXPECT_FLOAT_EQ(rig.AtX(0.50002f, 2), 0.9f);

    // Positive tension bends toward the left point's level, negative toward the right's.
    rig.SetCurve(0, {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 3.0f}});
    rig.SetCurve(1, {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, -3.0f}});
    rig.SetCurve(2, {{0.0f, 1.0f, 0.0f}, {1.0f, 0.0f, 3.0f}});
    EXPECT_EQ(rig.AtX(0.5f, 0), 0.0625f);
    EXPECT_EQ(rig.AtX(0.5f, 1), 0.9375f);
    EXPECT_EQ(rig.AtX(0.5f, 2), 0.9375f);  // falling: stays high

    // Curves that cannot be read give 0; outputs outside 0..1 are kept.
    rig.SetCurve(0, {{0.0f, 0.7f, 0.0f}});
    rig.context.curves[1].pointCount = CURVE_MAX_POINTS + 1;  // never read past the count test
    rig.SetCurve(2, {{0.0f, 0.5f, 0.0f}, {1.0f, 1.5f, 0.0f}});
    EXPECT_EQ(rig.AtX(0.25f, 0), 0.0f);
    EXPECT_EQ(rig.AtX(0.25f, 1), 0.0f);
    EXPECT_EQ(rig.AtX(0.75f, 2), -1.0f);  // 1.25
    rig.context.curves[1].pointCount = 3;
    CurvesFree(&rig.context.curves);
    EXPECT_EQ(rig.AtX(0.5f, 0), 0.0f);
}

TEST(Modulators, the_phase_follows_rate_tempo_and_ping_pong) {
    ModRig rig;
    for (int m = 0; m < 3; m++) rig.SetCurve(m, RAMP);
    rig.ShowMeters();
    rig.values[PARAM_MOD_RATE + 1] = 0.0f;  // "8/1": 32 beats
    rig.values[PARAM_MOD_RATE + 2] = 1.0f;  // "1/32T": a twelfth of a beat
    EXPECT_EQ(rig.At(12000.0, 0), 0.5f);    // the default "1/4": one beat
    EXPECT_EQ(rig.At(8 * 24000.0, 1), 0.25f);
    EXPECT_EQ(rig.At(500.0, 2), 0.25f);
    rig.context.samplesPerBeat = 12000.0f;  // twice the tempo moves the phase at once
    EXPECT_EQ(rig.At(6000.0, 0), 0.5f);

    // Ping Pong walks the curve back in every second cycle.
    rig.context.samplesPerBeat = SAMPLES_PER_BEAT;
    rig.values[PARAM_MOD_PINGPONG] = 1.0f;
    EXPECT_EQ(rig.At(6000.0), 0.25f);   // forward at the same speed
    EXPECT_EQ(rig.At(30000.0), 0.75f);  // and back
    EXPECT_EQ(rig.meter.modPhase[0], 1.25f);
    EXPECT_EQ(rig.At(54000.0), 0.25f);  // forward again in the third

    // A tempo of 0 is not guarded: the phase is not a number, which finds no
    // point and holds the first point's level.
    rig.SetCurve(0, {{0.1f, 0.3f, 0.0f}, {1.0f, 1.0f, 0.0f}});
    rig.context.samplesPerBeat = 0.0f;
    EXPECT_EQ(rig.At(100.0), 0.3f);
}

TEST(Modulators, display_shows_phase_and_output_and_fills_the_ring_128_times_a_second) {
    ModRig rig;
    rig.SetCurve(0, RAMP);
    rig.ShowMeters();
    int writes = 0;
    for (int frame = 0; frame < 48000; frame += 32) {
        int32_t index = rig.meter.modHistoryIndex[0];
        float output = rig.At(frame);
        if (rig.meter.modHistoryIndex[0] == index) continue;
        writes++;
        EXPECT_EQ(rig.meter.modHistoryIndex[0], (index + 1) % 128);
        EXPECT_EQ(rig.meter.modHistory[0][index], output);
    }
    EXPECT_EQ(writes, 128);
    EXPECT_EQ(rig.meter.modHistoryCountdown[0], 0);  // 128 × 375 frames exactly
    EXPECT_EQ(rig.meter.modValue[0], rig.meter.modPhase[0]);
}

TEST(ModulatedFrame, amounts_add_or_subtract_with_a_limit_after_each_and_values_return_to_base) {
    // At a quarter beat the default triangle stands at 0.5: amount 1 adds it,
    // 0.5 leaves the value, 0 subtracts it.
    const float amounts[] = {1.0f, 0.5f, 0.0f};
    for (float amount : amounts) {
        ModRig rig;
        rig.ShowMeters();
        rig.Route(0, 0, PARAM_POST_GAIN, amount);
        rig.Play(6000.0);
        EXPECT_NEAR(Decibels(rig.Block(32)[5]), 40.0 * amount - 20.0, 1e-4) << amount;
        EXPECT_EQ(rig.meter.modOffset[PARAM_POST_GAIN], amount - 0.5f);
    }
    // Two destinations on one parameter: 0.8 + 0.5 stops at 1, then 1 - 0.5;
    // adding both first would have given 0.8.
    ModRig rig;
    rig.ShowMeters();
    rig.values[PARAM_POST_GAIN] = 0.8f;
    rig.Route(0, 0, PARAM_POST_GAIN, 1.0f);
    rig.Route(0, 1, PARAM_POST_GAIN, 0.0f);
    rig.Play(6000.0);
    EXPECT_EQ(rig.Block(32)[0], 0.5f);
    EXPECT_EQ(rig.meter.modOffset[PARAM_POST_GAIN], 0.5f - 0.8f);

    // After every call each value is back at its base, also one pushed past the limit.
    rig.Route(0, 2, PARAM_DELAY_MIX + 1, 0.0f), rig.Route(1, 0, PARAM_REVERB_MIX, 1.0f);
    rig.values[PARAM_REVERB_MIX] = 1.0f;
    rig.context.transportPlaying = 0;
    std::vector<float> before(rig.values, rig.values + PARAM_COUNT);
    for (int chunk = 0; chunk < 5; chunk++) {
        rig.Block(100 + chunk * 37);
        ASSERT_EQ(std::vector<float>(rig.values, rig.values + PARAM_COUNT), before) << chunk;
    }
}

// A ramp of 2,000 frames on Post Gain: each SubBlock's gain shows its position.
TEST(ModulatedFrame, modulators_step_per_subblock_and_follow_the_song_only_while_it_plays) {
    ModRig rig;
    rig.SetCurve(0, RAMP);
    rig.values[PARAM_POST_GAIN] = 0.0f;
    rig.values[PARAM_MOD_RATE] = 1.0f;
    rig.Route(0, 0, PARAM_POST_GAIN, 1.0f);
    // The ramp's cycle is 2,000 frames: 40 dB over it, 0.64 dB per SubBlock.
    auto expected = [](double position) { return 40.0 * fmod(position / 2000.0, 1.0) - 20.0; };
    rig.TheEngine().modulatorPosition = 1000.0;
    std::vector<float> out = rig.Block(100);  // evaluated at 0, 32, 64 and 96
    for (int frame = 0; frame < 100; frame++)
        ASSERT_NEAR(Decibels(out[2 * frame + 1]), expected(1000.0 + (frame < 96 ? frame / 32 * 32 : 96)), 1e-3)
            << frame;
    EXPECT_EQ(rig.context.engine->modulatorPosition, 1100.0);

    rig.Play(500.0);
    for (int call = 0; call < 2; call++)  // the same song position, the same phase
        EXPECT_NEAR(Decibels(rig.Block(40)[0]), expected(500.0), 1e-3);
    rig.context.transportPlaying = 0;
    rig.context.songPosition = 9999.0;  // no longer read
    EXPECT_NEAR(Decibels(rig.Block(40)[0]), expected(540.0), 1e-3);
}

}  // namespace
