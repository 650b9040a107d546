// The demo piece: four bars at 120 BPM of kick, snare, hats and a pad of
// detuned saws playing Am - F - C - G. All made here from fixed seeds, so
// every run gives the same samples.
#include <math.h>
#include "tools/host/host.h"

namespace {

const double TEMPO = 120.0;
const double PI = 3.14159265358979323846;

struct NoiseSource {
    uint32_t state;
    float Next() {  // -1 .. 1
        state = state * 1664525u + 1013904223u;
        return float(state >> 8) * (1.0f / 8388608.0f) - 1.0f;
    }
};

// A band-limited sawtooth by the two-sample polynomial correction at each wrap.
struct Saw {
    double phase = 0;
    float Next(double increment) {
        double t = phase;
        phase += increment;
        if (phase >= 1.0) phase -= 1.0;
        double value = 2.0 * t - 1.0;
        if (t < increment) {
            double x = t / increment;
            value -= x + x - x * x - 1.0;
        } else if (t > 1.0 - increment) {
            double x = (t - 1.0) / increment;
            value -= x * x + x + x + 1.0;
        }
        return float(value);
    }
};

double NoteHz(int midiKey) { return 440.0 * pow(2.0, (midiKey - 69) / 12.0); }

// Kick: a sine falling from 150 to 45 Hz, with a fast decay.
void AddKick(StereoBuffer &out, uint32_t start, uint32_t rate) {
    double phase = 0;
    uint32_t length = rate / 2;
    for (uint32_t i = 0; i < length && start + i < out.frames(); i++) {
        double t = double(i) / rate;
        double hz = 45.0 + 105.0 * exp(-t * 30.0);
        phase += hz / rate;
        float sample = float(sin(2.0 * PI * phase) * exp(-t * 7.0) * 0.75);
        out.left[start + i] += sample;
        out.right[start + i] += sample;
    }
}

// Snare: a 190 Hz body under a longer burst of noise.
void AddSnare(StereoBuffer &out, uint32_t start, uint32_t rate, NoiseSource &noise) {
    uint32_t length = rate / 4;
    for (uint32_t i = 0; i < length && start + i < out.frames(); i++) {
        double t = double(i) / rate;
        float body = float(sin(2.0 * PI * 190.0 * t) * exp(-t * 25.0) * 0.25);
        float envelope = float(exp(-t * 18.0) * 0.3);
        out.left[start + i] += body + noise.Next() * envelope;
        out.right[start + i] += body + noise.Next() * envelope;
    }
}

// Hat: high-passed noise, a few milliseconds long, placed a little off centre.
void AddHat(StereoBuffer &out, uint32_t start, uint32_t rate, NoiseSource &noise, float level,
            float pan) {
    uint32_t length = rate / 20;
    float previous = 0;
    for (uint32_t i = 0; i < length && start + i < out.frames(); i++) {
        double t = double(i) / rate;
        float white = noise.Next();
        float high = white - previous;
        previous = white;
        float sample = high * float(exp(-t * 90.0)) * level;
        out.left[start + i] += sample * (1.0f - pan);
        out.right[start + i] += sample * (1.0f + pan);
    }
}

// One chord over a whole bar: two saws per note, detuned apart and spread
// left and right, through a one-pole low pass that opens with the attack.
void AddChord(StereoBuffer &out, uint32_t start, uint32_t length, uint32_t rate,
              const int keys[4]) {
    Saw saws[8];
    for (int s = 0; s < 8; s++) saws[s].phase = 0.13 * s;  // spread the first wraps
    float lowLeft = 0, lowRight = 0;
    double release = 0.06;
    for (uint32_t i = 0; i < length && start + i < out.frames(); i++) {
        double t = double(i) / rate;
        double end = double(length) / rate;
        double envelope = fmin(t / 0.03, 1.0) * (0.55 + 0.45 * exp(-t * 3.0));
        if (t > end - release) envelope *= (end - t) / release;
        float left = 0, right = 0;
        for (int n = 0; n < 4; n++) {
            double hz = NoteHz(keys[n]);
            left += saws[2 * n].Next(hz * 0.996 / rate);
            right += saws[2 * n + 1].Next(hz * 1.004 / rate);
        }
        float cutoff = float(0.02 + 0.25 * exp(-t * 2.5));
        lowLeft += (left - lowLeft) * cutoff;
        lowRight += (right - lowRight) * cutoff;
        out.left[start + i] += lowLeft * float(envelope * 0.07);
        out.right[start + i] += lowRight * float(envelope * 0.07);
    }
}

}  // namespace

StereoBuffer DemoSignal(uint32_t sampleRate, double seconds) {
    if (sampleRate == 0 || !(seconds > 0)) return MakeStereo(0);
    uint32_t frames = uint32_t(seconds * sampleRate);
    StereoBuffer out = MakeStereo(frames);
    NoiseSource noise = {0x4C464Du};
    double beatFrames = sampleRate * 60.0 / TEMPO;
    uint32_t beats = uint32_t(frames / beatFrames) + 1;

    static const int CHORDS[4][4] = {
        {57, 60, 64, 69},  // A minor
        {53, 57, 60, 65},  // F major
        {48, 55, 60, 64},  // C major
        {55, 59, 62, 67},  // G major
    };
    for (uint32_t bar = 0; bar * 4 < beats; bar++) {
        uint32_t start = uint32_t(bar * 4 * beatFrames);
        AddChord(out, start, uint32_t(4 * beatFrames), sampleRate, CHORDS[bar % 4]);
    }
    for (uint32_t beat = 0; beat < beats; beat++) {
        uint32_t start = uint32_t(beat * beatFrames);
        AddKick(out, start, sampleRate);
        if (beat % 2 == 1) AddSnare(out, start, sampleRate, noise);
        AddHat(out, start, sampleRate, noise, 0.06f, -0.3f);
        AddHat(out, uint32_t((beat + 0.5) * beatFrames), sampleRate, noise, 0.12f, 0.3f);
    }
    // A gentle limit keeps the coinciding hits under full scale.
    for (uint32_t i = 0; i < frames; i++) {
        out.left[i] = tanhf(out.left[i]);
        out.right[i] = tanhf(out.right[i]);
    }
    return out;
}
