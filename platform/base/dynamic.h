/* dynamic: an array that grows. Not locked. */
#pragma once

#include <cstdint>

struct dynamic {
    void *data; /* `count` elements of `element_size` bytes, in insertion order */
    uint32_t count, capacity, element_size;
};

int dynamic_init(dynamic *array, uint32_t element_size);
/* Copies one element to the end. -1 when memory runs out; the array is as before. */
[[nodiscard]] int dynamic_add(dynamic *array, const void *element);
/* Keeps the order. -1 past the end. */
int dynamic_remove(dynamic *array, uint32_t index);
/* Forgets the elements; what they point to is the caller's. */
int dynamic_clear(dynamic *array);
/* Accepts a zeroed record. */
int dynamic_free(dynamic *array);
