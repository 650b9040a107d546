// The unit rack: eight places on the main page, each showing the unit that
// its Effect Slot holds, with that unit's controls, or an add button. The
// rack keeps no state of its own: what stands where is read from the eight
// slot values before every paint, so a patch load, the host and the user's
// clicks all change it the same way. Adding, deleting and moving a unit are
// writes of those values, each marked as a gesture so the host records it.
#pragma once
#include <stdint.h>

#include "toolkit/interface_file.h"

// EDITOR_MSG_PLACE_UNITS: rows 0..7 of `slots` get, for each place, the
// cluster of the unit its slot holds, or that place's add button, and the
// place's offset from the first place.
void RackPlaceUnits(const Editor *editor, UIClusterSlot *slots);

// EDITOR_MSG_MAKE_ELEMENT for the rack's kinds: the add, move and delete
// buttons and the unit backgrounds. False for any other kind.
bool RackMakeElement(UIMakeElement *offer);

