/* dynamic: an array that grows. */
#include "platform/base/dynamic.h"

#include <cassert>
#include <cstdlib>
#include <cstring>

constexpr uint32_t dynamic_first_capacity = 8;

static char *dynamic_at(dynamic *array, uint32_t index)
{
    assert(index < array->capacity);
    return static_cast<char *>(array->data) + static_cast<size_t>(index) * array->element_size;
}

static int dynamic_grow(dynamic *array)
{
    assert(array->element_size > 0);
    if (array->capacity > UINT32_MAX / 2)
        return -1;
    const uint32_t capacity = array->capacity ? array->capacity * 2 : dynamic_first_capacity;
    if (capacity > SIZE_MAX / array->element_size)
        return -1;
    void *data = realloc(array->data, static_cast<size_t>(capacity) * array->element_size);
    if (!data)
        return -1;
    array->data = data;
    array->capacity = capacity;
    return 0;
}

int dynamic_init(dynamic *array, uint32_t element_size)
{
    if (!array || element_size == 0)
        return -1;
    *array = {};
    array->element_size = element_size;
    return 0;
}

int dynamic_add(dynamic *array, const void *element)
{
    if (!array || !element || array->element_size == 0)
        return -1;
    if (array->count == array->capacity && dynamic_grow(array) != 0)
        return -1;
    memcpy(dynamic_at(array, array->count), element, array->element_size);
    array->count++;
    return 0;
}

int dynamic_remove(dynamic *array, uint32_t index)
{
    if (!array || index >= array->count)
        return -1;
    const size_t after = array->count - index - 1;
    if (after > 0)
        memmove(dynamic_at(array, index), dynamic_at(array, index + 1),
                after * array->element_size);
    array->count--;
    return 0;
}

int dynamic_clear(dynamic *array)
{
    if (!array)
        return -1;
    array->count = 0;
    return 0;
}

int dynamic_free(dynamic *array)
{
    if (!array)
        return 0;
    free(array->data);
    array->data = nullptr;
    array->count = 0;
    array->capacity = 0;
    return 0;
}
