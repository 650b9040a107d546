// The `art-sheet` command of the command-line host.
#pragma once
#include <stdint.h>
#include <string>

// Draws every picture at `scale` percent (1..200) onto one PNG; returns the
// exit status (1 when a picture has no pixels).
int CommandArtSheet(const std::string &path, int32_t scale);
