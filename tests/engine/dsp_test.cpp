// The shared numeric primitives: accuracy of the approximations, the limits
// of the filter designs, the biquad lanes and the edges of the delay line.
#include <gtest/gtest.h>
#include <math.h>

#include <complex>

#include "tests/support/engine_rig.h"

namespace {

double Ulp(double v) {
    float f = (float)fabs(v);
    return (double)nextafterf(f, INFINITY) - f;
}

// What FastSin and FastCos may differ from the exact value by: half an ulp
// of the reduced angle (at most 2 pi) and of the result, plus 5e-8.
double TrigTolerance(float x, double exact) {
    return 0.5 * Ulp(fmin(fabs((double)x), 2 * M_PI)) + 0.5 * Ulp(exact) + 5e-8;
}

// Gain of a section at w radians per sample, in doubles.
double Gain(BiquadCoefficients c, double w) {
    std::complex<double> z1 = std::polar(1.0, -w), z2 = z1 * z1;
    return std::abs(((double)c.b0 + (double)c.b1 * z1 + (double)c.b2 * z2) /
                    (1.0 + (double)c.a1 * z1 + (double)c.a2 * z2));
}

bool SameDesign(BiquadCoefficients a, BiquadCoefficients b) { return !memcmp(&a, &b, sizeof a); }

}  // namespace

TEST(FastMath, sin_and_cos_follow_the_library_over_the_first_turns_and_far_out) {
    EXPECT_EQ(FastCos(0.0f), 1.0f);
    const int steps = 100000;
    for (int k = -4 * steps; k <= 4 * steps; k++) {
        float x = (float)(2 * M_PI * k / steps);
        double s = sin((double)x), c = cos((double)x);
        ASSERT_NEAR(FastSin(x), s, TrigTolerance(x, s)) << "x = " << x;
        ASSERT_NEAR(FastCos(x), c, TrigTolerance(x, c)) << "x = " << x;
    }
    // Large arguments lose no turns, also just below a whole number of turns
    // where the turn count rounds up; the folded angle adds its own rounding.
    Random random(7);
    for (int k = 0; k < 50000; k++) {
        float x = 1e3f + random.Unit() * (2.6e7f - 1e3f);
        if (k % 2) x = nextafterf((float)(floor(x / (2 * M_PI)) * 2 * M_PI), 0.0f);
        double s = sin((double)x), c = cos((double)x);
        ASSERT_NEAR(FastSin(x), s, TrigTolerance(x, s) + 6e-8) << "x = " << x;
        ASSERT_NEAR(FastCos(x), c, TrigTolerance(x, c) + 6e-8) << "x = " << x;
        ASSERT_EQ(FastSin(-x), -FastSin(x));
    }
}

TEST(FastMath, exp2_log2_pow_and_atan_keep_their_error_bounds) {
    for (float x = -125.0f; x < 127.0f; x += 0.001f)
        ASSERT_NEAR(FastExp2(x) / exp2((double)x), 1.0, 2e-7) << "x = " << x;
    // Where the exponent addition would wrap the result is 0, never negative
    // or NaN; above the range it saturates.
    for (float x : {-126.5f, -140.0f}) EXPECT_EQ(FastExp2(x), 0.0f) << x;
    EXPECT_EQ(FastExp2(128.0f), INFINITY);

    for (float x = 1.2e-38f; x < 3e38f; x *= 1.0007f)
        ASSERT_NEAR(FastLog2(x), log2((double)x), 2e-5) << "x = " << x;
    EXPECT_NEAR(FastPow(10.0f, 0.5f), sqrt(10.0), 1e-4);

    for (float x = 0.0f; x < 1000.0f; x += x < 4.0f ? 1e-5f : 0.01f)
        ASSERT_NEAR(FastAtan(x), atan((double)x), 2e-7) << "x = " << x;
    EXPECT_LT(fabsf(FastAtan(0.5f) - FastAtan(nextafterf(0.5f, 0.0f))), 1e-6f);  // seams
    EXPECT_LT(fabsf(FastAtan(nextafterf(1.0f, 2.0f)) - FastAtan(1.0f)), 1e-6f);
}

TEST(FilterDesign, half_gain_at_the_cutoff_held_at_0_49_of_the_sample_rate) {
    const float sr = 48000.0f, f = 1000.0f;
    double w = f * 2 * M_PI / sr;
    BiquadCoefficients low = LowPassDesign(f, sr), high = HighPassDesign(f, sr);
    EXPECT_NEAR(Gain(low, 0.0), 1.0, 1e-5);
    EXPECT_NEAR(Gain(low, w), 0.5, 1e-4);
    EXPECT_NEAR(Gain(high, w), 0.5, 1e-4);
    EXPECT_NEAR(Gain(high, M_PI), 1.0, 1e-5);
    // At 44.1 kHz the limit is 21,609 Hz, above the dial's top of 21.5 kHz;
    // at 32 kHz the top is cut down to 15,680 Hz.
    EXPECT_TRUE(SameDesign(LowPassDesign(30000.0f, 44100.0f), LowPassDesign(21609.0f, 44100.0f)));
    EXPECT_FALSE(SameDesign(LowPassDesign(CutoffCurve(1.0f), 44100.0f), LowPassDesign(21609.0f, 44100.0f)));
    EXPECT_TRUE(SameDesign(HighPassDesign(CutoffCurve(1.0f), 32000.0f), HighPassDesign(15680.0f, 32000.0f)));
}

TEST(FilterDesign, lanes_run_apart_the_cascade_feeds_the_second_section_and_recursions_settle) {
    BiquadStage single = {}, first = {}, cascade = {};
    SetFirstSection(&single, LowPassDesign(500.0f, 44100.0f));
    SetFirstSection(&first, HighPassDesign(2000.0f, 44100.0f));
    SetFirstSection(&cascade, HighPassDesign(2000.0f, 44100.0f));
    SetSecondSection(&cascade, LowPassDesign(500.0f, 44100.0f));
    cascade.cascade = 1;
    Random random(3);
    for (int i = 0; i < 2000; i++) {
        float left = random.Sample(), right = i < 1000 ? 0.0f : 1.0f;
        float a[2] = {left, right}, b[2] = {left, right};
        BiquadStep(&first, a);
        BiquadStep(&single, a);
        BiquadStep(&cascade, b);
        ASSERT_EQ(a[0], b[0]);
        ASSERT_EQ(a[1], b[1]);
        ASSERT_TRUE(i >= 1000 || b[1] == 0.0f);  // the noise on the left stays there
    }
    float state = 0.0f, energy = 0.0f;  // an all-pass keeps a click's energy
    for (int i = 0; i < 2000; i++) energy += powf(FirstOrderAllPass(0.6f, &state, i == 0 ? 1.0f : 0.0f), 2.0f);
    EXPECT_NEAR(energy, 1.0f, 1e-5f);
}

TEST(DelayLine, lengths_storage_and_reads_at_the_edges) {
    // A length is positive, finite and indexable, or 0.
    EXPECT_EQ(DelayLength(1.0f, 1000), 1);
    EXPECT_EQ(DelayLength(999.9f, 1000), 999);
    for (float bad : {0.999f, -5.0f, 1000.0f, INFINITY, NAN}) EXPECT_EQ(DelayLength(bad, 1000), 0) << bad;
    EXPECT_EQ(DelayLength(3e9f, INT32_MAX), 0);

    // Ensure keeps an unchanged line and clears a resized one.
    DelayLine line = {};
    ASSERT_TRUE(EnsureDelayLine(&line, 4, 2));
    for (int i = 0; i < 6; i++) WriteDelayLine(&line, 1.0f + i);  // wraps at 4 elements
    const float *storage = line.samples;
    ASSERT_TRUE(EnsureDelayLine(&line, 4, 2));
    EXPECT_EQ(line.samples, storage);
    EXPECT_EQ(line.writeIndex, 2);
    EXPECT_EQ(line.samples[0], 5.0f);
    ASSERT_TRUE(EnsureDelayLine(&line, 5, 2));
    EXPECT_EQ(line.writeIndex, 0);
    for (int i = 0; i < 10; i++) EXPECT_EQ(line.samples[i], 0.0f);
    ReleaseDelayLine(&line);

    // Reads wrap from the end to element 0.
    ASSERT_TRUE(EnsureDelayLine(&line, 8, 1));
    for (int i = 0; i < 8; i++) line.samples[i] = 10.0f * (i + 1);
    // A whole delay reads one element; a delay of 0 reads the oldest, at the index.
    EXPECT_EQ(ReadDelayLine(&line, 5.0f, 2.0f), 40.0f);
    EXPECT_EQ(ReadDelayLine(&line, 5.0f, 0.0f), 60.0f);
    // Between 0 and 1 the newest element (behind the index) mixes with the oldest.
    EXPECT_FLOAT_EQ(ReadDelayLine(&line, 5.0f, 0.25f), 0.75f * 60.0f + 0.25f * 50.0f);
    // p just below the length: the second element is element 0.
    EXPECT_FLOAT_EQ(ReadDelayLine(&line, 0.0f, 0.25f), 0.25f * 80.0f + 0.75f * 10.0f);
    // A delay outside the line stays inside the storage.
    for (float d : {NAN, 20.0f, -100.0f}) EXPECT_EQ(ReadDelayLine(&line, 0.0f, d), 10.0f) << d;
    ReleaseDelayLine(&line);
}
