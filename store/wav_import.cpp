// WAV import: the checks follow the file front to back, so a file is refused
// for the first fault in it, and the structural faults carry a mark (W1 to
// W11) that tells the maker's support which one it was. Every read of the
// file stays inside the RIFF block, which lies inside the data.
#include "store/wav_import.h"

#include <fcntl.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "store/dialogs.h"
#include "store/file_io.h"
#include "store/samples.h"

static const size_t DATA_MIN = 12, DATA_MAX = 0x40000000;
static const uint32_t RATE_MIN = 1000, RATE_MAX = 1000000;
static const uint64_t FRAMES_MIN = 5, FRAMES_MAX = 100000000;
static const int64_t TABLE_FRAME_MIN = 64, TABLE_FRAME_MAX = 8192;
static const uint64_t TABLE_FRAMES_MAX = 256;
static const size_t NAME_MAX = 235;
static const float PEAK_FLOOR = 0.0001f;
static const uint64_t REPLACED_ID = 1;
enum { FORMAT_INTEGER = 1, FORMAT_FLOAT = 3 };
enum { FMT_MIN = 16, SMPL_MIN = 60, SMPL_LOOP_COUNT = 28, SMPL_LOOP_START = 44, SMPL_LOOP_END = 48 };
enum { CLM_MIN = 40, CLM_MAX = 56, CLM_FRAME_SIZE = 3 };
// The mark that the wavetable editing tool writes into the "clm " chunk of the
// files it saves: with it, the number at offset 3 of the chunk is the size of
// one wavetable frame.
static const char CLM_MARKER[] = "wavetable (tablesmith.example)";

static const char MESSAGE_DATA_SMALL[] = "The sample data is too small.";
static const char MESSAGE_DATA_LARGE[] = "The sample data is too large.";
static const char MESSAGE_DUPLICATE[] = "The sample has already been imported into the library.";
static const char MESSAGE_W1[] = "The file is not in the standard WAV format. (W1)";
static const char MESSAGE_W2[] = "The file is not in the standard WAV format. (W2)";
static const char MESSAGE_W3[] = "The file is not in the standard WAV format. (W3)";
static const char MESSAGE_W4[] = "The file is not encoded correctly. (W4)";
static const char MESSAGE_W5[] = "The file is not encoded correctly. (W5)";
static const char MESSAGE_W6[] = "The file is not encoded correctly. (W6)";
static const char MESSAGE_W7[] = "The WAV file is missing sample data or format information. (W7)";
static const char MESSAGE_W8[] = "The file is not encoded correctly. (W8)";
static const char MESSAGE_W9[] = "The file is not encoded correctly. (W9)";
static const char MESSAGE_W10[] = "The file is not encoded correctly. (W10)";
static const char MESSAGE_W11[] = "The file is not encoded correctly. (W11)";
static const char MESSAGE_PAST_DATA[] = "The file was not encoded correctly";
static const char MESSAGE_FORMAT[] =
    "The file contains samples in an unsupported format.\r\nThe supported formats are: 16-bit "
    "integer, 24-bit integer and 32-bit float.";
static const char MESSAGE_CHANNELS[] =
    "The contains an unsupported number of stereo channels.\r\nOnly mono and 2-channel stereo "
    "samples are supported.";
static const char MESSAGE_RATE[] =
    "The sample rate is out of the supported range (1 kHz to 1000 kHz).";
static const char MESSAGE_FEW[] = "The file contains too few samples (less than 5).";
static const char MESSAGE_MANY[] = "The file contains too many samples (more than 100 million).";
static const char MESSAGE_TABLE_FRAME[] =
    "The wavetable contains an unsupported wavetable frame size.\r\n64 to 8192 samples is the "
    "supported range.";
static const char MESSAGE_TABLE_DIVIDE[] =
    "The size of wavetable frames does not divide the number of samples in the file.";
static const char MESSAGE_TABLE_COUNT[] =
    "The sample contains too many wavetable frames. The maximum is 256.";
static const char MESSAGE_MEMORY[] = "Insufficient memory is available. Try again later.";
static const char MESSAGE_NO_LIBRARY[] = "The sample library has not been created yet.";
static const char MESSAGE_NOT_MODIFIED[] = "The sample library could not be modified.";
static const char MESSAGE_NOT_WRITTEN[] =
    "The sample could not be written to the library.\r\nTry checking if your drive is low on "
    "free space.";
static const char MESSAGE_INDEX_OPEN[] = "The sample library index could not be modified.";
static const char MESSAGE_INDEX_WRITE[] =
    "The sample library index could not be updated.\r\nTry checking if your drive is low on "
    "free space.";
static const char MESSAGE_NOT_ACCESSED[] = "The selected file could not be accessed.";
static const char MESSAGE_FILE_SMALL[] = "The file is too small to import.";
static const char MESSAGE_FILE_LARGE[] =
    "The file is too large to import.\r\nSamples must be less than 256 MB.";
static const char MESSAGE_NOT_READ[] = "The selected file could not be read.";

static uint16_t Read16(const uint8_t *at) {
    uint16_t value;
    memcpy(&value, at, sizeof value);
    return value;
}

static uint32_t Read32(const uint8_t *at) {
    uint32_t value;
    memcpy(&value, at, sizeof value);
    return value;
}

// ---- the file's structure ----

// What the chunk walk found: offsets of the chunks' contents in the data,
// 0 for a chunk that is missing.
struct WavLayout {
    size_t fmt, smpl, data;
    uint64_t dataSize;          // padded to an even number, as every chunk
    char clm[CLM_MAX + 1];      // a wavetable's "clm " text, zero-terminated
};

static bool ChunkIs(const uint8_t *header, const char *id) { return !memcmp(header, id, 4); }

// Steps 3 to 6: the RIFF header and the walk over the chunks.
static const char *WalkChunks(const uint8_t *data, size_t size, uint32_t kind, WavLayout *layout) {
    if (memcmp(data, "RIFF", 4)) return MESSAGE_W1;
    uint64_t riffEnd = (uint64_t)Read32(data + 4) + 8;
    if (riffEnd > size) return MESSAGE_W2;
    if (memcmp(data + 8, "WAVE", 4)) return MESSAGE_W3;
    if (riffEnd == 12) return MESSAGE_W7;
    if (size < 21) return MESSAGE_W4;
    *layout = {};
    uint64_t offset = 12;
    for (;;) {
        if (offset + 8 > size) return MESSAGE_PAST_DATA;
        const uint8_t *header = data + offset;
        uint32_t chunkSize = Read32(header + 4);
        uint64_t padded = ((uint64_t)chunkSize + 1) & ~(uint64_t)1;
        if (padded >= size) return MESSAGE_W5;
        uint64_t contents = offset + 8, end = contents + padded;
        if (end > riffEnd) return MESSAGE_W6;
        if (ChunkIs(header, "fmt ") && chunkSize >= FMT_MIN) layout->fmt = contents;
        if (ChunkIs(header, "smpl") && chunkSize >= SMPL_MIN && kind == SAMPLE_CATEGORY_SAMPLE)
            layout->smpl = contents;
        if (ChunkIs(header, "data")) {
            layout->data = contents;
            layout->dataSize = padded;
        }
        if (ChunkIs(header, "clm ") && chunkSize >= CLM_MIN && chunkSize <= CLM_MAX &&
            kind == SAMPLE_CATEGORY_WAVETABLE) {
            memcpy(layout->clm, data + contents, chunkSize);
            layout->clm[chunkSize] = 0;
        }
        if (end == riffEnd) break;
        if (end + 8 > riffEnd) return MESSAGE_W4;
        offset = end;
    }
    // Contents never start at offset 0, so 0 marks a chunk that was not found.
    if (!layout->fmt || !layout->data) return MESSAGE_W7;
    return nullptr;
}

// What steps 7 to 12 settle about the samples.
struct WavShape {
    uint32_t sampleRate, channels, bytesPerSample, loopStart;
    uint64_t frames;
    uint16_t tableFrameSize;
    bool isFloat;
};

static const char *CheckFormat(const uint8_t *data, const WavLayout *layout, WavShape *shape) {
    const uint8_t *fmt = data + layout->fmt;
    uint16_t format = Read16(fmt), channels = Read16(fmt + 2), bits = Read16(fmt + 14);
    uint32_t rate = Read32(fmt + 4);
    bool integer = format == FORMAT_INTEGER && (bits == 16 || bits == 24);
    bool isFloat = format == FORMAT_FLOAT && bits == 32;
    if (!integer && !isFloat) return MESSAGE_FORMAT;
    if (channels != 1 && channels != 2) return MESSAGE_CHANNELS;
    if (rate < RATE_MIN || rate > RATE_MAX) return MESSAGE_RATE;
    uint32_t frameBytes = channels * (bits / 8u);
    if (layout->dataSize % frameBytes) return MESSAGE_W8;
    uint64_t frames = layout->dataSize / frameBytes;
    if (frames < FRAMES_MIN) return MESSAGE_FEW;
    if (frames > FRAMES_MAX) return MESSAGE_MANY;
    *shape = {rate, channels, bits / 8u, 0, frames, 0, isFloat};
    return nullptr;
}

// A loop of the "smpl" chunk cuts the sample at its end; a chunk with any
// other number of loops than one is ignored.
static const char *CheckLoop(const uint8_t *data, const WavLayout *layout, WavShape *shape) {
    if (!layout->smpl) return nullptr;
    const uint8_t *smpl = data + layout->smpl;
    if (Read32(smpl + SMPL_LOOP_COUNT) != 1) return nullptr;
    uint32_t start = Read32(smpl + SMPL_LOOP_START), end = Read32(smpl + SMPL_LOOP_END);
    if (start >= shape->frames) return MESSAGE_W9;
    if (end > shape->frames) return MESSAGE_W10;
    if (start > end) return MESSAGE_W11;
    shape->loopStart = start;
    shape->frames = end;
    return nullptr;
}

// A wavetable is one frame of all its samples, unless the editing tool's
// mark gives the frame size.
static const char *CheckTable(const WavLayout *layout, WavShape *shape) {
    int64_t frameSize = (int64_t)shape->frames;
    if (strstr(layout->clm, CLM_MARKER)) frameSize = strtol(layout->clm + CLM_FRAME_SIZE, nullptr, 10);
    if (frameSize < TABLE_FRAME_MIN || frameSize > TABLE_FRAME_MAX) return MESSAGE_TABLE_FRAME;
    if (shape->frames % (uint64_t)frameSize) return MESSAGE_TABLE_DIVIDE;
    uint64_t tableFrames = shape->frames / (uint64_t)frameSize;
    if (tableFrames == 0 || tableFrames > TABLE_FRAMES_MAX) return MESSAGE_TABLE_COUNT;
    shape->tableFrameSize = (uint16_t)frameSize;
    return nullptr;
}

// ---- the samples ----

// Interleaved f32 in the full scale of the format: integers over their
// largest positive value, so that the most negative one lands a little
// below -1; floats as they are.
static void Convert(const uint8_t *in, const WavShape *shape, float *out) {
    uint64_t count = shape->frames * shape->channels;
    for (uint64_t i = 0; i < count; i++) {
        const uint8_t *at = in + i * shape->bytesPerSample;
        if (shape->isFloat) {
            memcpy(&out[i], at, sizeof(float));
        } else if (shape->bytesPerSample == 2) {
            out[i] = (float)(int16_t)Read16(at) / 32767.0f;
        } else {
            uint32_t bits = (uint32_t)at[0] | (uint32_t)at[1] << 8 | (uint32_t)at[2] << 16;
            int32_t value = (int32_t)(bits ^ 0x800000u) - 0x800000;  // sign from bit 23
            out[i] = (float)value / 8388607.0f;
        }
    }
}

// A peak below the floor is silence or noise: scaling it up would only make
// the noise loud, so it stays as it is.
static void Normalise(float *samples, uint64_t count) {
    float peak = 0;
    for (uint64_t i = 0; i < count; i++) peak = fabsf(samples[i]) > peak ? fabsf(samples[i]) : peak;
    if (!(peak >= PEAK_FLOOR)) return;
    float gain = 1.0f / peak;
    for (uint64_t i = 0; i < count; i++) samples[i] *= gain;
}

static bool NameTaken(const char *name) {
    for (uint64_t i = 0; i < sampleList.count; i++)
        if (!strcmp(sampleList.rows[i].name, name)) return true;
    return false;
}

// The given name cut to its limit, made unique by " (2)", " (3)", ...
static char *UniqueName(const char *given) {
    size_t length = strnlen(given ? given : "", NAME_MAX);
    char *name = strndup(given ? given : "", length);
    if (!NameTaken(name)) return name;
    size_t capacity = length + 24;
    char *numbered = (char *)malloc(capacity);
    for (int number = 2;; number++) {
        snprintf(numbered, capacity, "%s (%d)", name, number);
        if (!NameTaken(numbered)) break;
    }
    free(name);
    return numbered;
}

// ---- the library ----

// Step 16: the `.dat` file, header then samples. A file that could not be
// written whole is removed again: a half sample is no use to anyone.
static const char *WriteSample(const char *folder, uint64_t id, const WavShape *shape,
                               uint32_t tag, const float *samples, bool replace) {
    char *path = SamplePath(folder, id, ".dat");
    if (replace) unlink(path);
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const char *message = nullptr;
    if (fd < 0) {
        message = MESSAGE_NOT_MODIFIED;
    } else {
        uint8_t header[SAMPLE_HEADER_SIZE] = {};
        uint32_t loopStart = shape->loopStart, frames = (uint32_t)shape->frames;
        memcpy(header, &SAMPLE_FILE_MAGIC, 8);
        memcpy(header + 8, &shape->sampleRate, 4);
        memcpy(header + 12, &loopStart, 4);
        memcpy(header + 16, &frames, 4);
        memcpy(header + 20, &shape->tableFrameSize, 2);
        header[22] = (uint8_t)shape->channels;
        header[23] = (uint8_t)tag;
        size_t bytes = (size_t)(shape->frames * shape->channels) * sizeof(float);
        bool written = WriteFull(fd, header, sizeof header) && WriteFull(fd, samples, bytes);
        if (close(fd) != 0 || !written) {
            unlink(path);
            message = MESSAGE_NOT_WRITTEN;
        }
    }
    free(path);
    return message;
}

// Steps 13 to 18, once the file has passed every check.
static const char *Store(const uint8_t *data, const WavLayout *layout, const WavShape *shape,
                         const char *name, uint32_t tag, int32_t subcategory, uint32_t kind,
                         uint64_t id, uint64_t *outId, bool replace) {
    uint64_t count = shape->frames * shape->channels;
    float *samples = (float *)malloc(count ? count * sizeof(float) : 1);
    if (!samples) return MESSAGE_MEMORY;
    Convert(data + layout->data, shape, samples);
    Normalise(samples, count);
    char *rowName = UniqueName(name);
    char *folder = SampleFolder();
    const char *message = folder ? nullptr : MESSAGE_NO_LIBRARY;
    uint64_t fileId = replace ? REPLACED_ID : id;
    if (!message) message = WriteSample(folder, fileId, shape, tag, samples, replace);
    free(samples);
    if (!message && replace) *outId = REPLACED_ID;
    if (!message && !replace) {
        int appended = SampleIndexAppend(folder, id, kind, subcategory, rowName);
        if (appended == 1) {
            // No row will ever name the file: take it back.
            char *path = SamplePath(folder, id, ".dat");
            unlink(path);
            free(path);
        }
        message = appended == 1 ? MESSAGE_INDEX_OPEN : appended == 2 ? MESSAGE_INDEX_WRITE : nullptr;
        SampleIndexLoad();
        if (!message) *outId = id;
    }
    free(folder);
    free(rowName);
    return message;
}

const char *SampleImport(const uint8_t *data, size_t size, const char *name, uint32_t tag,
                         int32_t subcategory, uint32_t kind, uint64_t *outId, bool replace) {
    if (size < DATA_MIN) return MESSAGE_DATA_SMALL;
    if (size > DATA_MAX) return MESSAGE_DATA_LARGE;
    SampleIndexLoad();
    uint64_t id = SampleHash(data, size, tag);
    if (SampleFind(id)) {
        *outId = id;
        return MESSAGE_DUPLICATE;
    }
    WavLayout layout;
    WavShape shape;
    const char *message = WalkChunks(data, size, kind, &layout);
    if (!message) message = CheckFormat(data, &layout, &shape);
    if (!message) message = CheckLoop(data, &layout, &shape);
    if (!message && kind == SAMPLE_CATEGORY_WAVETABLE) message = CheckTable(&layout, &shape);
    if (message) return message;
    return Store(data, &layout, &shape, name, tag, subcategory, kind, id, outId, replace);
}

// ---- files ----

const char *SampleImportPath(const char *path, const char *name, uint32_t tag,
                             int32_t subcategory, uint32_t kind, uint64_t *outId, bool replace) {
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return MESSAGE_NOT_ACCESSED;
    off_t size = lseek(fd, 0, SEEK_END);
    const char *message = size < 0 || lseek(fd, 0, SEEK_SET) != 0 ? MESSAGE_NOT_READ
                          : size < SAMPLE_IMPORT_FILE_MIN         ? MESSAGE_FILE_SMALL
                          : size > SAMPLE_IMPORT_FILE_MAX         ? MESSAGE_FILE_LARGE
                                                                  : nullptr;
    uint8_t *data = nullptr;
    if (!message) {
        data = (uint8_t *)malloc((size_t)size);
        if (!data) message = MESSAGE_MEMORY;
        else if (ReadFull(fd, data, (size_t)size) != (ssize_t)size) message = MESSAGE_NOT_READ;
    }
    close(fd);
    if (!message) message = SampleImport(data, (size_t)size, name, tag, subcategory, kind, outId, replace);
    free(data);
    return message;
}

bool SampleImportFile(const char *path, const char *name, uint32_t tag, int32_t subcategory,
                      uint32_t kind, uint64_t *outId, bool replace) {
    const char *message = SampleImportPath(path, name, tag, subcategory, kind, outId, replace);
    if (message) DialogError(message);
    return !message;
}
