// Effect chains written as text, "Reverb,Compressor 2", turned into the
// parameter values that build them: the Effect Slots in order, and each unit
// instance's Enable switched on.
#include <ctype.h>
#include "tools/host/host.h"

namespace {

// In the order of the unit kinds: the kind is the row's index.
struct UnitRow {
    const char *name;
    const char *alias;  // a shorter name also accepted, or null
    clap_id firstEnable;
};

const UnitRow UNITS[] = {
    {"Polyrhythmic Delay", "Delay", 4},
    {"Ping-Pong Delay", "Ping-Pong", 31},
    {"Multiband Distortion", "Distortion", 160},
    {"Chorus", nullptr, 79},
    {"Phaser", nullptr, 55},
    {"Parametric EQ", "EQ", 115},
    {"Trance Gate", "Trancegate", 139},
    {"Reverb", nullptr, 100},
    {"Compressor", nullptr, 178},
};
const int UNIT_KIND_COUNT = int(sizeof UNITS / sizeof UNITS[0]);

const clap_id FIRST_EFFECT_SLOT = 223;
const int EFFECT_SLOT_COUNT = 8;
const int INSTANCES_PER_KIND = 3;
const float CODED_WHOLE_STEP = 1.5258789e-5f;  // a coded whole number n is (n + 1) * this

std::string Trim(const std::string &text) {
    size_t first = 0, last = text.size();
    while (first < last && isspace((unsigned char)text[first])) first++;
    while (last > first && isspace((unsigned char)text[last - 1])) last--;
    return text.substr(first, last - first);
}

bool SameName(const std::string &text, const char *name) {
    if (!name) return false;
    size_t i = 0;
    for (; i < text.size() && name[i]; i++)
        if (tolower((unsigned char)text[i]) != tolower((unsigned char)name[i])) return false;
    return i == text.size() && !name[i];
}

// A unit name with an optional " 2" or " 3": the kind and the 0-based instance.
bool ParseUnit(const std::string &text, int *kind, int *instance) {
    std::string name = text;
    *instance = 0;
    size_t space = name.find_last_of(' ');
    if (space != std::string::npos && space + 2 == name.size() && name[space + 1] >= '1' &&
        name[space + 1] <= '0' + INSTANCES_PER_KIND) {
        *instance = name[space + 1] - '1';
        name = Trim(name.substr(0, space));
    }
    for (int k = 0; k < UNIT_KIND_COUNT; k++) {
        if (SameName(name, UNITS[k].name) || SameName(name, UNITS[k].alias)) {
            *kind = k;
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<ParamSetting> ChainSettings(const std::string &chain) {
    std::vector<ParamSetting> settings;
    if (Trim(chain).empty()) return settings;
    int slot = 0;
    size_t start = 0;
    while (start <= chain.size()) {
        size_t comma = chain.find(',', start);
        if (comma == std::string::npos) comma = chain.size();
        std::string item = Trim(chain.substr(start, comma - start));
        start = comma + 1;
        int kind = 0, instance = 0;
        if (!ParseUnit(item, &kind, &instance))
            throw HostError("unknown effect unit \"" + item + "\" in the chain");
        if (slot == EFFECT_SLOT_COUNT)
            throw HostError("a chain holds at most 8 units");
        int slotId = instance * UNIT_KIND_COUNT + kind;
        float slotValue = float(slotId + 1) * CODED_WHOLE_STEP;
        settings.push_back({FIRST_EFFECT_SLOT + clap_id(slot), double(slotValue)});
        settings.push_back({UNITS[kind].firstEnable + clap_id(instance), 1.0});
        slot++;
    }
    return settings;
}
