// What the black-box tests of states and patch files share: the streams and
// files they load, and the checks on what an instance then holds.
#pragma once
#include <sys/types.h>

#include <string>
#include <vector>

#include "tools/host/host.h"

const uint32_t PARAM_TOTAL = 231;

// The editor's tests need an X server; without DISPLAY they are skipped.
#define NEED_X_SERVER() \
    if (!getenv("DISPLAY")) GTEST_SKIP() << "no X server"

// The instance's save; empty (and a failure) when save answers false.
std::vector<uint8_t> Saved(const Instance &instance);
// What a new instance saves: the default block and the default curves.
const std::vector<uint8_t> &DefaultState();
std::vector<float> DefaultValues();
// 231 values from 0 to 1, unlike the defaults.
std::vector<float> Ramp();
// Three curves unlike the defaults: a loop, the fewest points, and the bounds.
std::vector<CurveImage> OddCurves();

// The default stream with these values, curves and name.
std::vector<uint8_t> StateWith(const std::vector<float> &values,
                               const std::vector<CurveImage> &curves = DefaultCurveImages(),
                               const std::string &name = "init");
// A stream: the length field, the block's bytes, then the rest.
std::vector<uint8_t> Stream(uint32_t length, const std::vector<uint8_t> &block, const std::vector<uint8_t> &rest);
// The default block alone (without length and curves).
std::vector<uint8_t> DefaultBlock();
// A .synthpatch file laid out byte by byte: magic, version, name, values,
// 676 reserved bytes with a pattern, 4 trailing bytes, the curve block.
std::vector<uint8_t> PatchFile(const std::string &name, const std::vector<float> &values,
                               const std::vector<CurveImage> &curves = OddCurves(), uint64_t version = 13);

std::string NameOf(const std::vector<uint8_t> &state);
std::vector<uint8_t> CurvesOf(const std::vector<uint8_t> &state);
// Every get_value, and the values of a save, hold exactly these.
void ExpectValues(const Instance &instance, const std::vector<float> &expected);

// Value events at `time` that build the chain (as ChainSettings reads it).
std::vector<HostEvent> ChainEvents(const std::string &chain, uint32_t time = 0);
// A click of `button` at (x, y) in the editor, the host's loop run after each step.
void Click(Instance &instance, EditorFrame &frame, int32_t x, int32_t y, uint32_t button = 1);
// The values a flush hands the host, in thousandths ("529 500 ").
std::string Heard(Instance &instance);

// The bytes as a file in the folder, made `size` long with zeros if given.
std::string WriteTo(const TemporaryFolder &folder, const std::string &name, const std::vector<uint8_t> &bytes,
                    off_t size = -1);
