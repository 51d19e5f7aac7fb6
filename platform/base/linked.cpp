/* linked: a doubly linked list. */
#include "platform/base/linked.h"

#include <cassert>
#include <cstdlib>

int linked_init(linked *list)
{
    if (!list)
        return -1;
    *list = {};
    return 0;
}

linked_node *linked_add(linked *list, void *data)
{
    if (!list)
        return nullptr;
    linked_node *node = static_cast<linked_node *>(malloc(sizeof(linked_node)));
    if (!node)
        return nullptr;
    *node = {.prev = list->tail, .next = nullptr, .data = data};
    if (list->tail)
        list->tail->next = node;
    else
        list->head = node;
    list->tail = node;
    list->count++;
    return node;
}

int linked_remove(linked *list, linked_node *node)
{
    if (!list || !node)
        return -1;
    assert(list->count > 0 && (node->prev ? node->prev->next : list->head) == node);
    if (node->prev)
        node->prev->next = node->next;
    else
        list->head = node->next;
    if (node->next)
        node->next->prev = node->prev;
    else
        list->tail = node->prev;
    list->count--;
    free(node);
    return 0;
}

int linked_clear(linked *list)
{
    if (!list)
        return 0;
    for (linked_node *node = list->head, *next = nullptr; node; node = next) {
        next = node->next;
        free(node);
    }
    *list = {};
    return 0;
}
