// libFuzzer target: any bytes as a WAV file, imported both as a sample and as
// a wavetable. The import may refuse, never crash or read past the data; what
// it takes lands in the library as a `.dat` file whose size matches its
// header, with no sample above full scale unless the file held a value that
// is not a number. The library is a folder made once; every run writes the
// file of id 1 over the last one (replace), so the index stays empty and the
// folder stays small.
#include <fcntl.h>
#include <math.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "store/samples.h"
#include "store/wav_import.h"

static std::string datPath;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
    char pattern[] = "/tmp/sample-import-fuzz-XXXXXX";
    if (!mkdtemp(pattern)) __builtin_trap();
    std::string home = pattern, library = home + "/library";
    mkdir((home + "/.config").c_str(), 0755);
    mkdir(library.c_str(), 0755);
    std::string settings = "[LathemoorFX]\nUserContentStore=" + library + "\n";
    FILE *file = fopen((home + "/.config/OrwenAudioPlugins.ini").c_str(), "w");
    fwrite(settings.data(), 1, settings.size(), file);
    fclose(file);
    setenv("HOME", home.c_str(), 1);
    datPath = library + "/0000000000000001.dat";
    return 0;
}

// The written file against its header.
static void CheckWritten(uint32_t kind) {
    int fd = open(datPath.c_str(), O_RDONLY);
    if (fd < 0) __builtin_trap();
    struct stat info;
    fstat(fd, &info);
    uint8_t header[SAMPLE_HEADER_SIZE];
    if (read(fd, header, sizeof header) != (ssize_t)sizeof header) __builtin_trap();
    uint32_t frames, loopStart;
    uint16_t tableFrameSize;
    memcpy(&loopStart, header + 12, 4);
    memcpy(&frames, header + 16, 4);
    memcpy(&tableFrameSize, header + 20, 2);
    uint8_t channels = header[22];
    if (channels != 1 && channels != 2) __builtin_trap();
    size_t count = (size_t)frames * channels;
    if ((size_t)info.st_size != SAMPLE_HEADER_SIZE + count * sizeof(float)) __builtin_trap();
    if (loopStart > frames) __builtin_trap();
    if (kind == SAMPLE_CATEGORY_WAVETABLE && (!tableFrameSize || frames % tableFrameSize)) __builtin_trap();
    float *samples = (float *)malloc(count * sizeof(float) + 1);
    if (read(fd, samples, count * sizeof(float)) != (ssize_t)(count * sizeof(float))) __builtin_trap();
    close(fd);
    bool finite = true;
    for (size_t i = 0; i < count; i++) finite = finite && isfinite(samples[i]);
    for (size_t i = 0; finite && i < count; i++)
        if (fabsf(samples[i]) > 1.0001f) __builtin_trap();
    free(samples);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    for (uint32_t kind = SAMPLE_CATEGORY_SAMPLE; kind <= SAMPLE_CATEGORY_WAVETABLE; kind++) {
        uint64_t id = 0;
        const char *message = SampleImport(data, size, "fuzz", 0, 0, kind, &id, true);
        if (message && !*message) __builtin_trap();
        if (!message && id != 1) __builtin_trap();
        if (!message) CheckWritten(kind);
    }
    if (sampleList.count) __builtin_trap();  // replace touches no index
    return 0;
}
