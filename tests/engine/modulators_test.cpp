// The modulators: the curve's shape at the phase, the phase from position,
// tempo and rate, the display ring, the default curves, and modulation
// reaching a parameter through the whole frame.
#include <gtest/gtest.h>
#include <math.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "engine/backend.h"
#include "engine/dispatch.h"
#include "engine/units.h"
#include "shell/params.h"
#include "store/curves.h"

namespace {

const float SAMPLES_PER_BEAT = 24000.0f;  // 120 BPM at 48 kHz

// The Rate value whose step is `step` (0: "8/1" to 26: "1/32T").
float RateFor(int step) { return (step + 0.5f) / 26.9973f; }

const std::vector<CurvePoint> RAMP = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 0.0f}};

// An instance's context after init at 48 kHz, with the default curves, and
// an Engine of its own.
struct Rig {
    EngineContext context = {};
    MeterBlock meter = {};
    const EngineBackend *backend = EngineBackendOfLevel(1);

    Rig() {
        context.sampleRate = 48000.0f;
        context.samplesPerBeat = SAMPLES_PER_BEAT;
        context.meter = &meter;
        pthread_mutex_init(&context.engineLock, nullptr);
        for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
        CurvesReset(&context.curves);
        context.engine = (Engine *)calloc(1, sizeof(Engine));
    }
    ~Rig() {
        CurvesFree(&context.curves);
        backend->destroy(&context);
        pthread_mutex_destroy(&context.engineLock);
    }

    void SetCurve(int m, const std::vector<CurvePoint> &points) {
        Curve &curve = context.curves[m];
        free(curve.points);
        curve.points = (CurvePoint *)malloc(points.size() * sizeof(CurvePoint));
        memcpy(curve.points, points.data(), points.size() * sizeof(CurvePoint));
        curve.pointCount = (uint16_t)points.size();
    }
    // The three outputs at a position, evaluated for a SubBlock of `count`.
    float At(double position, int m = 0, int count = 32) {
        context.engine->modulatorPosition = position;
        float out[3];
        EngineLevel1::ModulatorsEvaluate(context.engine, &context, count, out);
        return out[m];
    }
    // Output at x of a one-beat cycle (the default rate).
    float AtX(float x, int m = 0) { return At((double)x * SAMPLES_PER_BEAT, m); }
    void ShowMeters() { meter.metersWanted = meter.audioActive = 1; }

    // Sends `frames` frames of a constant level through the whole frame.
    std::vector<float> Run(int frames, float level = 0.5f) {
        std::vector<float> dry(2 * frames, level), wet(2 * frames, NAN);
        context.dryBlock = dry.data();
        backend->process(&context, wet.data(), frames);
        return wet;
    }
    // Modulator m's destination j on a row with an amount.
    void Route(int m, int j, int row, float amount) {
        context.liveValue[PARAM_MOD_DESTINATION + 3 * m + j] = ParamEncodeWhole(row);
        context.liveValue[PARAM_MOD_AMOUNT + 3 * m + j] = amount;
    }
};

// ---- the default curves ----

TEST(Curves, reset_replaces_any_curves_with_three_triangles_and_free_empties) {
    EngineContext context = {};
    pthread_mutex_init(&context.engineLock, nullptr);
    CurvesReset(&context.curves);
    context.curves[1].dragPoints = (CurvePoint *)calloc(4, sizeof(CurvePoint));
    context.curves[2].loopStart = 2;
    CurvesReset(&context.curves);  // the old records and the drag copy go
    for (int m = 0; m < CURVE_COUNT; m++) {
        const Curve &curve = context.curves[m];
        ASSERT_EQ(curve.pointCount, 3);
        EXPECT_EQ(curve.loopStart, 0);
        EXPECT_EQ(curve.dragPoints, nullptr);
        const float expected[3][3] = {{0, 0, 0}, {0.5f, 1, 0}, {1, 0, 0}};
        EXPECT_EQ(memcmp(curve.points, expected, sizeof expected), 0);
    }
    context.curves[0].dragPoints = (CurvePoint *)calloc(3, sizeof(CurvePoint));
    CurvesFree(&context.curves);
    EXPECT_EQ(context.curves, nullptr);
    CurvesFree(&context.curves);
    pthread_mutex_destroy(&context.engineLock);
}

// ---- the curve at the phase ----

TEST(Modulators, segments_are_followed_between_points_and_the_ends_are_held_without_wrapping) {
    Rig rig;
    rig.SetCurve(0, RAMP);
    for (double position : {0.0, 2400.0, 6000.0, 12000.0, 20000.0, 23999.0})
        EXPECT_EQ(rig.At(position), (float)(position / SAMPLES_PER_BEAT)) << position;
    EXPECT_EQ(rig.At(3 * 24000.0 + 6000.0), 0.25f);
    rig.SetCurve(1, {{0.2f, 0.3f, 0.0f}, {0.8f, 0.6f, 0.0f}});
    for (float x : {0.0f, 0.1f}) EXPECT_EQ(rig.AtX(x, 1), 0.3f) << x;
    for (float x : {0.8f, 0.9f, 0.99995f}) EXPECT_EQ(rig.AtX(x, 1), 0.6f) << x;
    EXPECT_FLOAT_EQ(rig.AtX(0.5f, 1), 0.45f);
    // Neighbours closer than 0.0001 jump straight to the right one's level.
    rig.SetCurve(2, {{0.0f, 0.0f, 0.0f}, {0.5f, 0.2f, 0.0f}, {0.50005f, 0.9f, 0.0f}, {1, 1, 0}});
    EXPECT_FLOAT_EQ(rig.AtX(0.50002f, 2), 0.9f);
    EXPECT_FLOAT_EQ(rig.AtX(0.25f, 2), 0.1f);
}

TEST(Modulators, ping_pong_walks_the_curve_back_in_the_second_cycle) {
    Rig rig;
    rig.SetCurve(0, RAMP);
    rig.ShowMeters();
    EXPECT_EQ(rig.At(30000.0), 0.25f);  // plain: phase 0.25 of the second cycle
    rig.context.liveValue[PARAM_MOD_PINGPONG] = 1.0f;
    EXPECT_EQ(rig.At(6000.0), 0.25f);  // same speed forward
    EXPECT_EQ(rig.At(30000.0), 0.75f);  // and back
    EXPECT_EQ(rig.At(36000.0), 0.5f);
    EXPECT_EQ(rig.meter.modPhase[0], 1.5f);
    EXPECT_EQ(rig.At(54000.0), 0.25f);  // forward again in the third
    rig.context.liveValue[PARAM_MOD_PINGPONG] = 0.5f;  // a switch acts above 0.5
    EXPECT_EQ(rig.At(30000.0), 0.25f);
}

TEST(Modulators, neighbours_closer_than_the_limit_give_the_right_points_level) {
    Rig rig;
    rig.SetCurve(0, {{0.0f, 0.0f, 0.0f}, {0.5f, 0.2f, 0.0f}, {0.50005f, 0.9f, 0.0f}, {1, 1, 0}});
    EXPECT_FLOAT_EQ(rig.AtX(0.50002f), 0.9f);
    EXPECT_FLOAT_EQ(rig.AtX(0.25f), 0.1f);
}

TEST(Modulators, curves_that_cannot_be_read_give_zero_and_stray_outputs_give_minus_one) {
    Rig rig;
    rig.SetCurve(0, {{0.0f, 0.7f, 0.0f}});
    rig.context.curves[1].pointCount = CURVE_MAX_POINTS + 1;  // never read past the count test
    rig.SetCurve(2, {{0.0f, 0.5f, 0.0f}, {1.0f, 1.5f, 0.0f}});
    EXPECT_EQ(rig.AtX(0.25f, 0), 0.0f);
    EXPECT_EQ(rig.AtX(0.25f, 1), 0.0f);
    EXPECT_EQ(rig.AtX(0.25f, 2), 0.75f);
    EXPECT_EQ(rig.AtX(0.75f, 2), -1.0f);  // 1.25
    rig.SetCurve(2, {{0.0f, NAN, 0.0f}, {1.0f, 0.5f, 0.0f}});
    EXPECT_EQ(rig.AtX(0.75f, 2), -1.0f);
    rig.context.curves[1].pointCount = 3;
    CurvesFree(&rig.context.curves);
    for (int m = 0; m < 3; m++) EXPECT_EQ(rig.AtX(0.5f, m), 0.0f);
}

TEST(Modulators, positive_tension_bends_toward_the_left_level_negative_toward_the_right) {
    Rig rig;
    rig.SetCurve(0, {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 3.0f}});
    rig.SetCurve(1, {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, -3.0f}});
    rig.SetCurve(2, {{0.0f, 1.0f, 0.0f}, {1.0f, 0.0f, 3.0f}});
    EXPECT_EQ(rig.AtX(0.5f, 0), powf(0.5f, 4.0f));                   // below the line
    EXPECT_EQ(rig.AtX(0.5f, 1), 1.0f - powf(0.5f, 4.0f));            // above it
    EXPECT_EQ(rig.AtX(0.5f, 2), 1.0f + -1.0f * powf(0.5f, 4.0f));    // falling: stays high
    EXPECT_EQ(rig.AtX(0.3f, 1), 1.0f - powf(1.0f - 0.3f, 4.0f));
}

TEST(Modulators, the_rate_step_sets_the_cycle_in_beats_of_the_tempo) {
    Rig rig;
    for (int m = 0; m < 3; m++) rig.SetCurve(m, RAMP);
    rig.context.liveValue[PARAM_MOD_RATE + 1] = 0.0f;  // "8/1": 32 beats
    rig.context.liveValue[PARAM_MOD_RATE + 2] = 1.0f;  // "1/32T": a twelfth of a beat
    EXPECT_EQ(ParamStep(PARAM_INFO[PARAM_MOD_RATE].defaultValue, MODULATOR_RATE_COUNT), 15);
    EXPECT_EQ(rig.At(12000.0, 0), 0.5f);  // the default "1/4": one beat
    EXPECT_EQ(rig.At(8 * 24000.0, 1), 0.25f);
    EXPECT_EQ(rig.At(500.0, 2), 0.25f);
    rig.context.liveValue[PARAM_MOD_RATE] = RateFor(12);  // "1/2": two beats
    EXPECT_EQ(rig.At(12000.0, 0), 0.25f);
    rig.context.samplesPerBeat = 12000.0f;  // twice the tempo moves the phase at once
    EXPECT_EQ(rig.At(12000.0, 0), 0.5f);
}

// A tempo of 0 or a non-finite one gives a cycle of 0 or infinity. Nothing
// guards it: the phase turns into 0 or not a number, which finds no point and
// holds the first point's level, and no value leaves the floats.
TEST(Modulators, a_degenerate_tempo_holds_the_first_point) {
    Rig rig;
    rig.SetCurve(0, {{0.1f, 0.3f, 0.0f}, {1.0f, 1.0f, 0.0f}});
    rig.ShowMeters();
    rig.context.samplesPerBeat = 0.0f;
    EXPECT_EQ(rig.At(0.0), 0.3f);
    EXPECT_EQ(rig.At(100.0), 0.3f);
    EXPECT_TRUE(isnan(rig.meter.modPhase[0]));
    rig.context.liveValue[PARAM_MOD_PINGPONG] = 1.0f;
    EXPECT_EQ(rig.At(100.0), 0.3f);
    rig.context.samplesPerBeat = INFINITY;
    EXPECT_EQ(rig.At(100.0), 0.3f);
    EXPECT_EQ(rig.meter.modPhase[0], 0.0f);
}

// ---- the display ----

TEST(Modulators, display_shows_phase_and_output_and_fills_the_ring_128_times_a_second) {
    Rig rig;
    rig.SetCurve(0, RAMP);
    rig.meter.metersWanted = 1;  // but no audio: nothing is written
    rig.meter.modPhase[0] = -5.0f;
    rig.At(6000.0);
    EXPECT_EQ(rig.meter.modPhase[0], -5.0f);
    EXPECT_EQ(rig.meter.modHistoryCountdown[0], 0);

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
    EXPECT_EQ(rig.meter.modHistoryIndex[0], 0);
    EXPECT_EQ(rig.meter.modHistoryCountdown[0], 0);  // 128 × 375 frames exactly
    EXPECT_EQ(rig.meter.modPhase[0], (float)(47968 / 24000.0) - 1.0f);
    EXPECT_EQ(rig.meter.modValue[0], rig.meter.modPhase[0]);
    EXPECT_EQ(rig.meter.modHistoryIndex[1], 0);  // the others run their own rings
    rig.At(48000.0, 0, 400);  // a run longer than an interval writes once and owes the rest
    EXPECT_EQ(rig.meter.modHistoryIndex[0], 1);
    EXPECT_EQ(rig.meter.modHistoryCountdown[0], 375 - 400);
}

// ---- modulation through the whole frame ----

// The output level of a constant 0.5 whose Post Gain stands at `value`.
float PostGainOutput(float value) {
    return 0.5f * expf((40.0f * value - 20.0f) * 0.05f * 2.3025851f);
}

TEST(ModulatedFrame, amount_half_leaves_the_value_one_adds_the_output_zero_subtracts_it) {
    const float amounts[] = {1.0f, 0.5f, 0.0f}, gains[] = {1.0f, 0.5f, 0.0f};
    for (int i = 0; i < 3; i++) {
        Rig rig;
        rig.ShowMeters();
        rig.Route(0, 0, PARAM_POST_GAIN, amounts[i]);
        rig.context.transportPlaying = 1;
        rig.context.songPosition = 6000.0;  // a quarter beat: the triangle is at 0.5
        std::vector<float> out = rig.Run(32);
        for (float sample : out) ASSERT_EQ(sample, PostGainOutput(gains[i])) << amounts[i];
        EXPECT_EQ(rig.meter.modOffset[PARAM_POST_GAIN], gains[i] - 0.5f);
        EXPECT_EQ(rig.context.liveValue[PARAM_POST_GAIN], 0.5f);
    }
}

TEST(ModulatedFrame, two_destinations_on_one_parameter_add_with_a_limit_after_each) {
    Rig rig;
    rig.ShowMeters();
    rig.context.liveValue[PARAM_POST_GAIN] = 0.8f;
    rig.Route(0, 0, PARAM_POST_GAIN, 1.0f);  // 0.8 + 0.5 stops at 1
    rig.Route(0, 1, PARAM_POST_GAIN, 0.0f);  // then 1 - 0.5
    rig.context.transportPlaying = 1;
    rig.context.songPosition = 6000.0;
    std::vector<float> out = rig.Run(32);
    EXPECT_EQ(out[0], 0.5f);  // unity gain, where adding first would have given 0.8
    EXPECT_EQ(rig.meter.modOffset[PARAM_POST_GAIN], 0.5f - 0.8f);
    EXPECT_EQ(rig.context.liveValue[PARAM_POST_GAIN], 0.8f);
}

TEST(ModulatedFrame, every_value_is_back_at_its_base_after_each_call) {
    Rig rig;
    rig.Route(0, 0, PARAM_POST_GAIN, 1.0f);
    rig.Route(0, 2, PARAM_DELAY_MIX + 1, 0.0f);
    rig.Route(2, 1, PARAM_POST_GAIN, 0.9f);
    rig.Route(1, 0, PARAM_REVERB_MIX, 1.0f);
    rig.context.liveValue[PARAM_REVERB_MIX] = 1.0f;  // pushed past the limit
    std::vector<float> before(rig.context.liveValue, rig.context.liveValue + PARAM_COUNT);
    for (int chunk = 0; chunk < 20; chunk++) {
        rig.Run(100 + chunk * 37);
        ASSERT_EQ(std::vector<float>(rig.context.liveValue, rig.context.liveValue + PARAM_COUNT),
                  before) << chunk;
    }
}

// Modulator 1 on Post Gain from 0 with amount 1 and a ramp of a 2,000-frame
// cycle: the gain of each SubBlock shows the position it was evaluated at.
struct SteppingRig : Rig {
    SteppingRig() {
        SetCurve(0, RAMP);
        context.liveValue[PARAM_POST_GAIN] = 0.0f;
        context.liveValue[PARAM_MOD_RATE] = 1.0f;
        Route(0, 0, PARAM_POST_GAIN, 1.0f);
    }
    static float Expected(double position) {
        float f = (float)(position / 2000.0);
        return PostGainOutput(f - floorf(f));
    }
};

TEST(ModulatedFrame, a_100_frame_chunk_steps_the_modulators_at_32_64_and_96) {
    SteppingRig rig;
    rig.context.engine->modulatorPosition = 1000.0;
    std::vector<float> out = rig.Run(100);
    for (int frame = 0; frame < 100; frame++) {
        double start = 1000.0 + (frame < 96 ? frame / 32 * 32 : 96);
        ASSERT_EQ(out[2 * frame], SteppingRig::Expected(start)) << frame;
        ASSERT_EQ(out[2 * frame + 1], out[2 * frame]) << frame;
    }
    EXPECT_EQ(rig.context.engine->modulatorPosition, 1100.0);
}

TEST(ModulatedFrame, the_phase_follows_the_song_while_playing_and_runs_on_when_stopped) {
    SteppingRig rig;
    rig.context.transportPlaying = 1;
    rig.context.songPosition = 500.0;
    for (int call = 0; call < 2; call++) {  // the same song position, the same phase
        EXPECT_EQ(rig.Run(40)[0], SteppingRig::Expected(500.0));
        EXPECT_EQ(rig.context.engine->modulatorPosition, 540.0);
    }
    rig.context.transportPlaying = 0;
    rig.context.songPosition = 9999.0;  // no longer read
    std::vector<float> out = rig.Run(40);
    EXPECT_EQ(out[0], SteppingRig::Expected(540.0));
    EXPECT_EQ(out[2 * 32], SteppingRig::Expected(572.0));
    EXPECT_EQ(rig.Run(8)[0], SteppingRig::Expected(580.0));
}

}  // namespace
