// All of our CLAP declarations.
#pragma once
#include "clap/core.h"
#include "clap/events.h"
#include "clap/extensions.h"
#include "clap/drafts.h"
