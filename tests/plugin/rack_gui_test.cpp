// The unit rack through the real window (skipped without DISPLAY): units
// added from the add menu, deleted and moved with the pointer, as the host
// reads the Effect Slot values afterwards.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id FIRST_SLOT = 223, CHORUS_ENABLE = 79, CHORUS_MIX = 85, REVERB_ENABLE = 100;
// Slot ids, instance * 9 + kind: a rack of eight units, none of them the
// Ping-Pong Delay, whose buttons stand elsewhere on its narrower panel.
const std::vector<int> FULL = {0, 2, 3, 4, 5, 6, 7, 8};

struct Rack {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::unique_ptr<EditorFrame> frame = OpenEditor(*instance);

    // The host puts ids in the slots (-1 empties one); the editor takes them at its next tick.
    void Hold(const std::vector<int> &ids) {
        std::vector<HostEvent> events;
        for (size_t s = 0; s < ids.size(); s++)
            events.push_back(ParamValueEvent(0, FIRST_SLOT + s, (ids[s] + 1) / 65536.0));
        FlushParams(*instance, events);
        RunEditor(*instance, 0.25);
    }
    // Each step waits long enough for a menu or page to be on the screen
    // before the next press, even on a busy machine.
    void Click(int x, int y) {
        PointerMove(*frame, x, y);
        for (bool press : {true, false}) {
            PointerButton(*frame, 1, press);
            RunEditor(*instance, press ? 0.1 : 0.25);
        }
    }
    // The place of slot s: two columns, five places and three.
    int PlaceX(int s) { return s < 5 ? 0 : 535; }
    int PlaceY(int s) { return 99 * (s % 5); }
    void Add(int s, int item) {   // the add button, then the menu item under it
        Click(267 + PlaceX(s), 95 + PlaceY(s));
        Click(267 + PlaceX(s), 106 + 4 + 19 * item + 9 + PlaceY(s));
    }
    void Delete(int s) { Click(457 + PlaceX(s), 64 + PlaceY(s)); }
    // The move button of slot s, then the insert button at position p.
    void Move(int s, int p) {
        Click(421 + PlaceX(s), 64 + PlaceY(s));
        Click(p < 5 ? 267 : 802, 69 + 99 * (p < 5 ? p : p - 5));
    }
    // What the host hears, parameter by parameter: "begin id=value end ...", the
    // slots' values as ids.
    std::string Heard() {
        std::string heard;
        for (const HostEvent &e : FlushParams(*instance)) {
            if (e.header.type != CLAP_EVENT_PARAM_VALUE) {
                heard += e.header.type == CLAP_EVENT_PARAM_GESTURE_BEGIN ? "begin " : "end ";
                continue;
            }
            clap_id id = e.value.param_id;
            double v = e.value.value;
            heard += std::to_string(id) + "=" +
                     std::to_string(id >= FIRST_SLOT ? (int)(v * 65536 - 1) : (int)lround(v)) + " ";
        }
        return heard;
    }
    std::vector<int> Slots() {
        FlushParams(*instance);
        std::vector<int> ids;
        for (clap_id s = 0; s < 8; s++)
            ids.push_back((int)(*GetParamValue(*instance, FIRST_SLOT + s) * 65536 - 1));
        return ids;
    }
};

TEST(Rack, the_add_menu_offers_the_lowest_free_instance_of_each_kind_not_all_used_and_switches_it_on) {
    NEED_X_SERVER();
    Rack rack;
    // All three Choruses, and the second and third Reverb; Reverb 1 is off.
    rack.Hold({3, 12, 21, 16, 25, -1, -1, -1});
    FlushParams(*rack.instance, {ParamValueEvent(0, REVERB_ENABLE, 0.0)});
    rack.Heard();
    rack.Add(5, 0);   // without Chorus, the menu starts at Compressor
    EXPECT_EQ(rack.Heard(), "begin 178=1 end begin 228=8 end ");
    rack.Add(6, 5);   // Compressor, Distortion, EQ, Phaser, Ping-Pong, Polyrhythmic Delay
    rack.Add(7, 6);   // ... Reverb: its first instance, not a fourth
    EXPECT_EQ(rack.Heard(), "begin 4=1 end begin 100=1 end begin 229=0 end begin 230=7 end ");
    EXPECT_EQ(rack.Slots(), (std::vector<int>{3, 12, 21, 16, 25, 8, 0, 7}));
}

TEST(Rack, delete_leaves_a_gap_that_stays_in_the_saved_patch_and_the_unit_comes_back_as_it_was) {
    NEED_X_SERVER();
    Rack rack;
    rack.Hold(FULL);
    FlushParams(*rack.instance,
                {ParamValueEvent(0, CHORUS_ENABLE, 0.0), ParamValueEvent(0, CHORUS_MIX, 0.25)});
    rack.Heard();
    rack.Delete(2);   // the Chorus
    EXPECT_EQ(rack.Heard(), "begin 225=-1 end ");
    EXPECT_EQ(rack.Slots(), (std::vector<int>{0, 2, -1, 4, 5, 6, 7, 8}));
    EXPECT_EQ(GetLE<float>(*SaveState(*rack.instance), STATE_VALUES_AT + 4 * (FIRST_SLOT + 2)), 0.0f);
    rack.Add(2, 0);   // the add button stands in the gap; Chorus leads the menu again
    EXPECT_EQ(rack.Heard(), "begin 79=1 end begin 225=3 end ");
    EXPECT_EQ(rack.Slots(), FULL);
    EXPECT_EQ(*GetParamValue(*rack.instance, CHORUS_MIX), 0.25f);
}

TEST(Rack, a_move_drops_the_unit_in_front_of_the_insert_button_and_shifts_the_others_toward_the_nearest_gap) {
    NEED_X_SERVER();
    Rack rack;
    struct Case {
        std::vector<int> before;
        int from, to;
        std::vector<int> after;
    } cases[] = {
        {FULL, 4, 1, {0, 5, 2, 3, 4, 6, 7, 8}},
        {FULL, 1, 5, {0, 3, 4, 5, 2, 6, 7, 8}},   // no gap behind 5: the ones before shift down
        {{0, 2, 3, -1, 5, 6, 7, 8}, 0, 1, {-1, 0, 2, 3, 5, 6, 7, 8}},
        {FULL, 2, 3, FULL},                         // right behind its own slot
        {{0, 2, 3, -1, 5, 6, 7, 8}, 6, 8, {0, 2, 3, -1, 5, 6, 8, 7}},
    };
    for (const Case &c : cases) {
        rack.Hold(c.before);
        rack.Move(c.from, c.to);
        EXPECT_EQ(rack.Slots(), c.after) << c.from << " to " << c.to;
    }
    // The page's backdrop cancels; the moved unit's own insert button is not there.
    rack.Heard();
    rack.Click(421, 64);
    rack.Click(600, 20);
    rack.Click(421, 64);
    rack.Click(267, 69);
    rack.Click(1000, 560);
    EXPECT_EQ(rack.Heard(), "");
    rack.Move(1, 0);   // the page is closed again: the move button opens it
    EXPECT_EQ(rack.Slots(), (std::vector<int>{2, 0, 3, -1, 5, 6, 8, 7}));
}

}  // namespace
