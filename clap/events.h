// Our declarations of the CLAP 1.1.8 events and event lists. The note,
// expression and MIDI records are declared only so that a host that sends
// them can be skipped by size and tested against the ABI.
#pragma once
#include "clap/core.h"

extern "C" {

typedef int64_t clap_beattime;
typedef int64_t clap_sectime;
static const int64_t CLAP_BEATTIME_FACTOR = 1LL << 31;
static const int64_t CLAP_SECTIME_FACTOR = 1LL << 31;

struct clap_event_header_t {
    uint32_t size;      // whole event, header included
    uint32_t time;      // frame offset in the block
    uint16_t space_id;
    uint16_t type;
    uint32_t flags;
};

static const uint16_t CLAP_CORE_EVENT_SPACE_ID = 0;

enum { CLAP_EVENT_IS_LIVE = 1 << 0, CLAP_EVENT_DONT_RECORD = 1 << 1 };

enum {
    CLAP_EVENT_NOTE_ON = 0,
    CLAP_EVENT_NOTE_OFF = 1,
    CLAP_EVENT_NOTE_CHOKE = 2,
    CLAP_EVENT_NOTE_END = 3,
    CLAP_EVENT_NOTE_EXPRESSION = 4,
    CLAP_EVENT_PARAM_VALUE = 5,
    CLAP_EVENT_PARAM_MOD = 6,
    CLAP_EVENT_PARAM_GESTURE_BEGIN = 7,
    CLAP_EVENT_PARAM_GESTURE_END = 8,
    CLAP_EVENT_TRANSPORT = 9,
    CLAP_EVENT_MIDI = 10,
    CLAP_EVENT_MIDI_SYSEX = 11,
    CLAP_EVENT_MIDI2 = 12,
};

struct clap_event_note_t {
    clap_event_header_t header;
    int32_t note_id;
    int16_t port_index;
    int16_t channel;
    int16_t key;
    double velocity;
};

struct clap_event_note_expression_t {
    clap_event_header_t header;
    int32_t expression_id;
    int32_t note_id;
    int16_t port_index;
    int16_t channel;
    int16_t key;
    double value;
};

struct clap_event_param_value_t {
    clap_event_header_t header;
    clap_id param_id;
    void *cookie;
    int32_t note_id;
    int16_t port_index;
    int16_t channel;
    int16_t key;
    double value;
};

struct clap_event_param_mod_t {
    clap_event_header_t header;
    clap_id param_id;
    void *cookie;
    int32_t note_id;
    int16_t port_index;
    int16_t channel;
    int16_t key;
    double amount;
};

struct clap_event_param_gesture_t {
    clap_event_header_t header;
    clap_id param_id;
};

enum {
    CLAP_TRANSPORT_HAS_TEMPO = 1 << 0,
    CLAP_TRANSPORT_HAS_BEATS_TIMELINE = 1 << 1,
    CLAP_TRANSPORT_HAS_SECONDS_TIMELINE = 1 << 2,
    CLAP_TRANSPORT_HAS_TIME_SIGNATURE = 1 << 3,
    CLAP_TRANSPORT_IS_PLAYING = 1 << 4,
    CLAP_TRANSPORT_IS_RECORDING = 1 << 5,
    CLAP_TRANSPORT_IS_LOOP_ACTIVE = 1 << 6,
    CLAP_TRANSPORT_IS_WITHIN_PRE_ROLL = 1 << 7,
};

struct clap_event_transport_t {
    clap_event_header_t header;
    uint32_t flags;
    clap_beattime song_pos_beats;
    clap_sectime song_pos_seconds;
    double tempo;
    double tempo_inc;
    clap_beattime loop_start_beats;
    clap_beattime loop_end_beats;
    clap_sectime loop_start_seconds;
    clap_sectime loop_end_seconds;
    clap_beattime bar_start;
    int32_t bar_number;
    uint16_t tsig_num;
    uint16_t tsig_denom;
};

struct clap_event_midi_t {
    clap_event_header_t header;
    uint16_t port_index;
    uint8_t data[3];
};

struct clap_event_midi_sysex_t {
    clap_event_header_t header;
    uint16_t port_index;
    const uint8_t *buffer;
    uint32_t size;
};

struct clap_event_midi2_t {
    clap_event_header_t header;
    uint16_t port_index;
    uint32_t data[4];
};

struct clap_input_events_t {
    void *ctx;
    uint32_t (*size)(const clap_input_events_t *list);
    const clap_event_header_t *(*get)(const clap_input_events_t *list, uint32_t index);
};

struct clap_output_events_t {
    void *ctx;
    bool (*try_push)(const clap_output_events_t *list, const clap_event_header_t *event);
};

}  // extern "C"
