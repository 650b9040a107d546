// The `bank` command of the command-line host: export and import of bank
// files with the plug-in's own code, without a window.
#pragma once
#include <string>
#include <vector>

// words: "bank", then "export FOLDER OUT.synthbank" or "import IN.synthbank".
// The message of a failure goes to standard error; returns the exit status.
int CommandBank(const std::vector<std::string> &words);
