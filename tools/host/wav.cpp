// WAV files: reading RIFF/WAVE with 16- or 24-bit integer or 32-bit float
// samples, mono or stereo; writing 32-bit float stereo. Every read is checked
// against the bytes that are there, so a damaged file gives a message, not a
// crash.
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include "tools/host/host.h"

namespace {

const uint16_t FORMAT_PCM = 1;
const uint16_t FORMAT_FLOAT = 3;
const uint16_t FORMAT_EXTENSIBLE = 0xFFFE;
const uint32_t PLAIN_FORMAT_SIZE = 16;
const uint32_t EXTENSIBLE_FORMAT_SIZE = 40;
const uint64_t LARGEST_FILE = 0xFFFFFFFFull + 8;  // what a 32-bit RIFF size can describe

// Bytes 2..15 of every WAVE_FORMAT_EXTENSIBLE subformat GUID; bytes 0..1 hold
// the plain format code.
const uint8_t SUBFORMAT_TAIL[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                    0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

// The four-letter id of a chunk, with anything unprintable shown as '?'.
std::string ChunkName(const uint8_t *chunk) {
    std::string name;
    for (int i = 0; i < 4; i++) name += chunk[i] >= 32 && chunk[i] < 127 ? char(chunk[i]) : '?';
    return name;
}

uint16_t ReadU16(const uint8_t *p) { return uint16_t(p[0] | p[1] << 8); }
uint32_t ReadU32(const uint8_t *p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void PutU16(std::vector<uint8_t> &out, uint16_t v) {
    out.push_back(uint8_t(v));
    out.push_back(uint8_t(v >> 8));
}
void PutU32(std::vector<uint8_t> &out, uint32_t v) {
    for (int i = 0; i < 4; i++) out.push_back(uint8_t(v >> (8 * i)));
}
void PutTag(std::vector<uint8_t> &out, const char *tag) { out.insert(out.end(), tag, tag + 4); }

struct Format {
    uint16_t code = 0;  // PCM or float, after looking through the extensible wrapper
    uint16_t channels = 0;
    uint32_t sampleRate = 0;
    uint16_t blockAlign = 0;
    uint16_t bits = 0;
};

Format ParseFormat(const uint8_t *p, uint32_t size) {
    if (size < PLAIN_FORMAT_SIZE) throw HostError("the fmt chunk is too short");
    Format format;
    format.code = ReadU16(p);
    format.channels = ReadU16(p + 2);
    format.sampleRate = ReadU32(p + 4);
    format.blockAlign = ReadU16(p + 12);
    format.bits = ReadU16(p + 14);
    if (format.code == FORMAT_EXTENSIBLE) {
        if (size < EXTENSIBLE_FORMAT_SIZE)
            throw HostError("the extensible fmt chunk is too short");
        const uint8_t *guid = p + 24;
        if (memcmp(guid + 2, SUBFORMAT_TAIL, sizeof SUBFORMAT_TAIL) != 0)
            throw HostError("unsupported extensible subformat");
        format.code = ReadU16(guid);
    }
    bool integer = format.code == FORMAT_PCM && (format.bits == 16 || format.bits == 24);
    bool floating = format.code == FORMAT_FLOAT && format.bits == 32;
    if (!integer && !floating)
        throw HostError("unsupported sample format (code " + std::to_string(format.code) + ", " +
                        std::to_string(format.bits) +
                        " bits); 16/24-bit PCM and 32-bit float are read");
    if (format.channels != 1 && format.channels != 2)
        throw HostError(std::to_string(format.channels) +
                        " channels; only mono and stereo are read");
    if (format.sampleRate == 0) throw HostError("the sample rate is 0");
    if (format.blockAlign != format.channels * (format.bits / 8))
        throw HostError("the block alignment does not match channels and sample size");
    return format;
}

float DecodeSample(const uint8_t *p, const Format &format) {
    if (format.code == FORMAT_FLOAT) {
        float value;
        memcpy(&value, p, sizeof value);
        return value;
    }
    if (format.bits == 16) return float(int16_t(ReadU16(p))) * (1.0f / 32768.0f);
    int32_t value = int32_t(uint32_t(p[0]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 24);
    return float(value >> 8) * (1.0f / 8388608.0f);
}

}  // namespace

WavAudio ParseWav(const uint8_t *bytes, size_t size) {
    if (size < 12 || memcmp(bytes, "RIFF", 4) != 0 || memcmp(bytes + 8, "WAVE", 4) != 0)
        throw HostError("not a WAV file (no RIFF/WAVE header)");
    bool haveFormat = false, haveData = false;
    Format format;
    const uint8_t *data = nullptr;
    uint32_t dataSize = 0;
    // The RIFF size is often wrong in files from streaming writers; the walk
    // goes by the real length instead.
    size_t at = 12;
    while (at + 8 <= size) {
        const uint8_t *chunk = bytes + at;
        uint32_t chunkSize = ReadU32(chunk + 4);
        size_t left = size - at - 8;
        bool isFormat = memcmp(chunk, "fmt ", 4) == 0;
        bool isData = memcmp(chunk, "data", 4) == 0;
        if (chunkSize > left) {
            if (haveFormat && haveData && !isFormat && !isData)
                break;  // a damaged trailing chunk after the audio does not matter
            throw HostError("the \"" + ChunkName(chunk) +
                            "\" chunk runs past the end of the file (truncated?)");
        }
        if (isFormat && !haveFormat) {
            format = ParseFormat(chunk + 8, chunkSize);
            haveFormat = true;
        } else if (isData && !haveData) {
            data = chunk + 8;
            dataSize = chunkSize;
            haveData = true;
        }
        at += 8 + size_t(chunkSize) + (chunkSize & 1);  // odd chunks carry a pad byte
    }
    if (!haveFormat) throw HostError("no fmt chunk");
    if (!haveData) throw HostError("no data chunk");

    WavAudio wav;
    wav.sampleRate = format.sampleRate;
    wav.channels = format.channels;
    wav.bitsPerSample = format.bits;
    uint32_t frames = dataSize / format.blockAlign;  // a partial last frame is dropped
    wav.audio = MakeStereo(frames);
    uint32_t sampleBytes = format.bits / 8;
    for (uint32_t i = 0; i < frames; i++) {
        const uint8_t *frame = data + size_t(i) * format.blockAlign;
        float left = DecodeSample(frame, format);
        wav.audio.left[i] = left;
        wav.audio.right[i] =
            format.channels == 2 ? DecodeSample(frame + sampleBytes, format) : left;
    }
    return wav;
}

WavAudio ReadWav(const std::string &path) {
    FILE *file = fopen(path.c_str(), "rb");
    if (!file) throw HostError(path + ": cannot open: " + strerror(errno));
    std::vector<uint8_t> bytes;
    bool tooLarge = false, failed = false;
    uint8_t chunk[1 << 16];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, file)) > 0) {
        if (bytes.size() + got > LARGEST_FILE) {
            tooLarge = true;
            break;
        }
        bytes.insert(bytes.end(), chunk, chunk + got);
    }
    failed = ferror(file) != 0;
    fclose(file);
    if (failed) throw HostError(path + ": read error");
    if (tooLarge) throw HostError(path + ": too large for a WAV file");
    try {
        return ParseWav(bytes.data(), bytes.size());
    } catch (const HostError &error) {
        throw HostError(path + ": " + error.what());
    }
}

std::vector<uint8_t> EncodeWav(const StereoBuffer &audio, uint32_t sampleRate) {
    const uint32_t channels = 2, bytesPerFrame = channels * 4;
    const uint32_t headerSize = 4 + (8 + 18) + (8 + 4) + 8;  // WAVE, fmt, fact, data header
    uint64_t dataSize = uint64_t(audio.frames()) * bytesPerFrame;
    if (dataSize + headerSize > 0xFFFFFFFFull) throw HostError("too long for a WAV file");
    if (audio.right.size() != audio.left.size()) throw HostError("channels differ in length");
    std::vector<uint8_t> out;
    out.reserve(size_t(dataSize) + headerSize + 8);
    PutTag(out, "RIFF");
    PutU32(out, uint32_t(headerSize + dataSize));
    PutTag(out, "WAVE");
    PutTag(out, "fmt ");
    PutU32(out, 18);
    PutU16(out, FORMAT_FLOAT);
    PutU16(out, channels);
    PutU32(out, sampleRate);
    PutU32(out, sampleRate * bytesPerFrame);
    PutU16(out, bytesPerFrame);
    PutU16(out, 32);
    PutU16(out, 0);  // no extension bytes
    PutTag(out, "fact");
    PutU32(out, 4);
    PutU32(out, audio.frames());
    PutTag(out, "data");
    PutU32(out, uint32_t(dataSize));
    size_t at = out.size();
    out.resize(at + size_t(dataSize));
    for (uint32_t i = 0; i < audio.frames(); i++) {
        memcpy(&out[at + size_t(i) * 8], &audio.left[i], 4);
        memcpy(&out[at + size_t(i) * 8 + 4], &audio.right[i], 4);
    }
    return out;
}

void WriteWav(const std::string &path, const StereoBuffer &audio, uint32_t sampleRate) {
    std::vector<uint8_t> bytes = EncodeWav(audio, sampleRate);
    FILE *file = fopen(path.c_str(), "wb");
    if (!file) throw HostError(path + ": cannot write: " + strerror(errno));
    bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    written = fclose(file) == 0 && written;
    if (!written) throw HostError(path + ": cannot write: " + strerror(errno));
}
