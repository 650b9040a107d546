// The host's side of the sample library: WAV import into the library that
// the user's settings name.
#pragma once
#include <stdint.h>
#include <string>

struct SampleImportJob {
    std::string path, name;  // an empty name takes the file's, without ".wav"
    bool wavetable = false;
    uint32_t tag = 0;
    int32_t subcategory = 0;
};

// Prints the new row's id as 16 hexadecimal digits and answers 0, or prints
// the plug-in's message and answers 1.
int CommandSampleImport(const SampleImportJob &job);
