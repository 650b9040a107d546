// libFuzzer target: the command-line host's WAV reader must turn any bytes
// into audio or a one-line error, never a crash or a read past the data.
#include <stddef.h>
#include <stdint.h>
#include "tools/host/host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    try {
        WavAudio audio = ParseWav(data, size);
        if (audio.audio.left.size() != audio.audio.right.size()) __builtin_trap();
    } catch (const HostError &) {
    }
    return 0;
}
