// WAV import: the way into the sample library. A WAV file of 16-bit or
// 24-bit integers or 32-bit floats, mono or stereo, becomes a sample or a
// wavetable: peak-normalised `f32` frames in a `.dat` file and a row of the
// index. Every refusal is one sentence that says what was wrong; nothing is
// shown here except by SampleImportFile.
#pragma once
#include <stddef.h>
#include <stdint.h>

// The largest file the import reads; also the library's own limit.
enum { SAMPLE_IMPORT_FILE_MIN = 17, SAMPLE_IMPORT_FILE_MAX = 0x10000000 };

// Imports size bytes of a WAV file as a sample (kind SAMPLE_CATEGORY_SAMPLE)
// or a wavetable (SAMPLE_CATEGORY_WAVETABLE) named name. The tag is the
// caller's number that enters the id; its low byte is stored in the file.
// Returns null, with *outId the new row's id, or the text of the failure;
// an import of bytes already in the library also sets *outId to the old row.
// With replace set the import writes the file of id 1 over any old one,
// touches no index, and sets *outId to 1.
const char *SampleImport(const uint8_t *data, size_t size, const char *name, uint32_t tag,
                         int32_t subcategory, uint32_t kind, uint64_t *outId, bool replace);

// Opens and reads the file at path and imports it; returns the failure's text
// without showing it (null on success).
const char *SampleImportPath(const char *path, const char *name, uint32_t tag,
                             int32_t subcategory, uint32_t kind, uint64_t *outId, bool replace);
// The same, with a failure shown through the error dialog; true on success.
bool SampleImportFile(const char *path, const char *name, uint32_t tag, int32_t subcategory,
                      uint32_t kind, uint64_t *outId, bool replace);
