// `sample import`: a WAV file into the sample library through the plug-in's
// own import, linked into the host. The library is the folder that the user's
// settings name ("UserContentStore"), as in the plug-in.
#include "tools/host/samples.h"

#include <stdio.h>

#include "store/samples.h"
#include "store/wav_import.h"

static std::string BaseName(const std::string &path) {
    std::string name = path.substr(path.rfind('/') + 1);
    size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0) name.erase(dot);
    return name;
}

int CommandSampleImport(const SampleImportJob &job) {
    std::string name = job.name.empty() ? BaseName(job.path) : job.name;
    uint32_t kind = job.wavetable ? SAMPLE_CATEGORY_WAVETABLE : SAMPLE_CATEGORY_SAMPLE;
    uint64_t id = 0;
    const char *message = SampleImportPath(job.path.c_str(), name.c_str(), job.tag, job.subcategory,
                                           kind, &id, false);
    SampleIndexFree();
    if (!message) {
        printf("%016llX\n", (unsigned long long)id);
        return 0;
    }
    // The dialog's line breaks are "\r\n"; a terminal wants only the "\n".
    std::string text;
    for (const char *at = message; *at; at++)
        if (*at != '\r') text += *at;
    fprintf(stderr, "lathemoor-host: %s\n", text.c_str());
    return 1;
}
