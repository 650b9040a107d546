// Flat arrays grown with realloc: every list of the program grows this way.
#pragma once
#include <stddef.h>
#include <stdlib.h>

// Makes room for `wanted` items: the capacity becomes max(2 × capacity,
// wanted), so a run of appends costs amortised constant time. Allocation
// failures are not tested for, as nowhere in the program.
template <typename Item, typename Count>
inline void ArrayReserve(Item **array, Count *capacity, size_t wanted) {
    if (wanted <= (size_t)*capacity) return;
    size_t grown = (size_t)*capacity * 2 > wanted ? (size_t)*capacity * 2 : wanted;
    *array = (Item *)realloc((void *)*array, grown * sizeof(Item));
    *capacity = (Count)grown;
}
