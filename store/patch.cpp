#include "store/patch.h"

#include <string.h>

#include "shell/params.h"

void PatchResetToDefault(Patch *patch) {
    memset(patch, 0, sizeof *patch);
    patch->magic = PATCH_MAGIC;
    patch->version = PATCH_VERSION;
    strcpy(patch->name, "init");
    for (int i = 0; i < PARAM_COUNT; i++) patch->values[i] = PARAM_INFO[i].defaultValue;
}
