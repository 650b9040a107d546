// The block loop of one engine build: cuts a chunk into SubBlocks of at most
// 32 frames, applies the modulators to their destinations, runs the eight
// slots in order, applies Post Gain, takes the modulation off again, and
// decides whether the plug-in has fallen silent.
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "engine/backend.h"
#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

static const float SILENCE_THRESHOLD = 0.0001f;
static const double SILENT_SECONDS = 5.0;
enum { DESTINATIONS = 9, NO_DESTINATION = -1 };

// Frees every buffer a unit owns, for all units and instances. Filter
// memories, phases and sums stay.
static void UnitsReset(Engine *engine) {
    for (int i = 0; i < UNIT_INSTANCES; i++) {
        PolyDelayRelease(&engine->polyDelay[i]);
        PingPongRelease(&engine->pingPong[i]);
        ChorusRelease(&engine->chorus[i]);
        ReverbRelease(&engine->reverb[i]);
        CompressorRelease(&engine->compressor[i]);
    }
}

// Runs the unit of one slot id (instance × 9 + kind) on a SubBlock. Ids
// outside 0..26 can only come from a damaged patch and run nothing.
static void RunSlot(Engine *engine, EngineContext *context, int32_t id, float *frames,
                    const float *dry, int count) {
    if (id < 0 || id >= UNIT_INSTANCES * UNIT_KINDS) return;
    int instance = id / UNIT_KINDS;
    switch ((UnitKind)(id % UNIT_KINDS)) {
    case UnitPolyrhythmicDelay: PolyDelayRun(engine, context, instance, frames, count); break;
    case UnitPingPongDelay: PingPongRun(engine, context, instance, frames, count); break;
    case UnitDistortion: DistortionRun(engine, context, instance, frames, count); break;
    case UnitChorus: ChorusRun(engine, context, instance, frames, count); break;
    case UnitPhaser: PhaserRun(engine, context, instance, frames, count); break;
    case UnitEQ: EqRun(engine, context, instance, frames, count); break;
    case UnitTranceGate: TranceGateRun(engine, context, instance, frames, count); break;
    case UnitReverb: ReverbRun(engine, context, instance, frames, count); break;
    case UnitCompressor: {
        bool byDry = context->liveValue[PARAM_COMP_SIDECHAIN + instance] > 0.5f;
        CompressorRun(engine, context, instance, frames, byDry ? dry : frames, count);
        break;
    }
    }
}

// A sample above the threshold, below its negative or not a number is sound;
// the search ends at the first one, which music finds at once.
static bool HasSound(const float *samples, int32_t count) {
    for (int32_t i = 0; i < count; i++)
        if (!(fabsf(samples[i]) <= SILENCE_THRESHOLD)) return true;
    return false;
}

static void Process(EngineContext *context, float *wet, int32_t frames) {
    if (!context->engine) context->engine = (Engine *)calloc(1, sizeof(Engine));
    Engine *engine = context->engine;
    MeterBlock *meter = context->meter;
    float *live = context->liveValue;
    const float *dry = context->dryBlock;
    memcpy(wet, dry, (size_t)frames * 2 * sizeof(float));
    // Without memory for the Engine the chunk passes as it came, and the
    // next chunk asks again.
    if (!engine) return;
    if (context->engineReset) {
        UnitsReset(engine);
        context->engineReset = 0;
    }

    // Destination k belongs to modulator k / 3; base keeps the value it had.
    int32_t destination[DESTINATIONS];
    float base[DESTINATIONS];
    for (int k = 0; k < DESTINATIONS; k++) {
        int32_t d = ParamDecodeWhole(live[PARAM_MOD_DESTINATION + k]);
        destination[k] = d >= 0 && d < PARAM_COUNT ? d : NO_DESTINATION;
        base[k] = destination[k] != NO_DESTINATION ? live[destination[k]] : 0.0f;
    }
    for (int m = 0; m < 3; m++)
        MeterWrite(meter->modulatorUsed[m], (uint8_t)(destination[3 * m] != NO_DESTINATION ||
                                                      destination[3 * m + 1] != NO_DESTINATION ||
                                                      destination[3 * m + 2] != NO_DESTINATION));
    if (context->transportPlaying) {
        engine->unitPosition = context->songPosition;
        engine->modulatorPosition = context->songPosition;
    }

    float *block = wet;
    for (int32_t remaining = frames; remaining > 0;) {
        int count = remaining < SUBBLOCK_FRAMES ? remaining : SUBBLOCK_FRAMES;
        float modulator[3];
        ModulatorsEvaluate(engine, context, count, modulator);
        engine->modulatorPosition += count;
        for (int k = 0; k < DESTINATIONS; k++) {
            if (destination[k] == NO_DESTINATION) continue;
            float amount = live[PARAM_MOD_AMOUNT + k];
            float *value = &live[destination[k]];
            *value = Clamp01((2.0f * amount - 1.0f) * modulator[k / 3] + *value);
        }
        for (int s = 0; s < SLOT_COUNT; s++)
            RunSlot(engine, context, ParamDecodeWhole(live[PARAM_EFFECT_SLOT + s]), block,
                    context->dryBlock, count);
        engine->unitPosition += count;

        // The gain is worked out again only when Post Gain moves. It is applied
        // also at unity (Post Gain 0.5): the multiply, under the flush-to-zero
        // mode, turns denormal input that passed empty slots into zero, so that
        // no denormal reaches the host; every other sample stays exact.
        if (live[PARAM_POST_GAIN] != engine->postGainValue || !engine->postGainKnown) {
            engine->postGainValue = live[PARAM_POST_GAIN];
            engine->postGain = DecibelsToGain(DialDecibels(engine->postGainValue));
            engine->postGainKnown = 1;
        }
        for (int i = 0; i < 2 * count; i++) block[i] *= engine->postGain;

        remaining -= count;
        block += 2 * count;
        context->dryBlock += 2 * count;
        if (remaining == 0 && MeterRead(meter->metersWanted) && meter->audioActive) {
            for (int i = 0; i < PARAM_COUNT; i++) {
                float offset = 0.0f;
                for (int k = 0; k < DESTINATIONS; k++) {
                    if (destination[k] != i) continue;
                    offset = live[i] - base[k];
                    break;
                }
                MeterWrite(meter->modOffset[i], offset);
            }
        }
        for (int k = 0; k < DESTINATIONS; k++)
            if (destination[k] != NO_DESTINATION) live[destination[k]] = base[k];
    }
    context->dryBlock = (float *)dry;

    if (HasSound(dry, 2 * frames) || HasSound(wet, 2 * frames)) {
        engine->silentFrames = 0.0;
        MeterWrite(meter->audioActive, (uint8_t)1);
    } else {
        engine->silentFrames += frames;
        bool silent = engine->silentFrames / context->sampleRate > SILENT_SECONDS;
        MeterWrite(meter->audioActive, (uint8_t)(silent ? 0 : 1));
    }
}

// The editor's sketch of the EQ response on a 0..1 axis, from the main
// thread's values: smooth steps for the shelves and a bump for the mid band.
static float SmoothStep(float t) { return t < 0.0f ? 0.0f : (t > 1.0f ? 1.0f : t * t * (3.0f - 2.0f * t)); }

static void EqResponse(EngineContext *context, int32_t instance) {
    const float *v = context->editorValue;
    float m = v[PARAM_EQ_MID_FREQUENCY + instance], w = 0.3f * v[PARAM_EQ_MID_WIDTH + instance] + 0.1f;
    float l = v[PARAM_EQ_LOW_FREQUENCY + instance], h = v[PARAM_EQ_HIGH_FREQUENCY + instance];
    float gm = v[PARAM_EQ_MID_GAIN + instance], gl = v[PARAM_EQ_LOW_GAIN + instance];
    float gh = v[PARAM_EQ_HIGH_GAIN + instance];
    float r = 1.0f / ((l - 0.25f) - (l + 0.25f));
    for (int k = 0; k < 128; k++) {
        float x = k * 0.007874016f;
        float low = (2.0f * gl - 1.0f) * SmoothStep((x - (l + 0.25f)) * r);
        float high = (2.0f * gh - 1.0f) * SmoothStep(2.0f * (x + 0.25f - h));
        float mid = (2.0f * gm - 1.0f) * SmoothStep((x + (w - m)) / w) * SmoothStep((m + w - x) / w);
        context->meter->eqCurve[k] = (mid + low + high) * 0.6f;
    }
}

static void Destroy(EngineContext *context) {
    if (!context->engine) return;
    UnitsReset(context->engine);
    free(context->engine);
    context->engine = nullptr;
}

}  // namespace ENGINE_NAMESPACE

extern const EngineBackend ENGINE_BACKEND_THIS = {
    ENGINE_NAMESPACE::Process,
    ENGINE_NAMESPACE::EqResponse,
    ENGINE_NAMESPACE::Destroy,
};
