// `lathemoor-host bank`: the plug-in's bank export and import, run on the
// calling thread. The sample library and the patch folder are the user's
// settings, as in the plug-in. An import is meant for scripts: it prints the
// question the plug-in would ask and goes on as if the answer were yes.
#include "tools/host/banks.h"

#include <stdio.h>
#include <stdlib.h>

#include "store/bank.h"
#include "store/samples.h"
#include "store/settings.h"
#include "tools/host/host.h"

static bool ConfirmOnOutput(const char *text) {
    printf("%s\n", text);
    fflush(stdout);
    return true;
}

int CommandBank(const std::vector<std::string> &words) {
    bool exporting = words.size() == 4 && words[1] == "export";
    bool importing = words.size() == 3 && words[1] == "import";
    if (!exporting && !importing)
        throw HostError("bank wants export FOLDER OUT.synthbank, or import IN.synthbank");

    char32_t *setting = SettingsReadText(U"UserPatches", 0);
    char *patches = setting ? TextNarrow(setting) : nullptr;
    free(setting);
    char *library = SampleFolder();
    SampleIndexLoad();

    BankJob job = {};
    job.libraryFolder = library;
    if (exporting) {
        job.patchFolder = words[2].c_str();
        job.bankPath = words[3].c_str();
        BankExport(&job);
    } else {
        job.patchFolder = patches;
        job.bankPath = words[2].c_str();
        job.confirm = ConfirmOnOutput;
        BankImport(&job);
    }
    SampleIndexFree();
    free(library);
    free(patches);
    if (job.error) {
        fprintf(stderr, "%s\n", job.error);
        return 1;
    }
    printf("%s %u patch%s, %u folder%s and %u sample%s\n", exporting ? "exported" : "imported",
           job.patches, job.patches == 1 ? "" : "es", job.folders, job.folders == 1 ? "" : "s",
           job.samples, job.samples == 1 ? "" : "s");
    return 0;
}
