// Bank export and import on a worker thread behind the modal wait page.
#pragma once
#include "shell/plugin.h"

// Completions of the file dialogs of "Export as bank..." and "Import bank...":
// each closes the dialog's descriptor, starts the worker and opens the wait
// page. `folder` is the patch folder to export (copied).
void BankStartExport(Plugin *plugin, const char *folder, int outputFd, const char *outputPath);
void BankStartImport(Plugin *plugin, int fd, const char *path);
// The instance's end: cancels a running worker, joins it and frees its record.
void BankWorkerEnd(Plugin *plugin);
