// The preset discovery and plug-in invalidation factories.
#pragma once
#include "clap/clap.h"

extern const clap_preset_discovery_factory_t PRESET_DISCOVERY_FACTORY;
extern const clap_plugin_invalidation_factory_t INVALIDATION_FACTORY;
