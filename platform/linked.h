/* linked: a doubly linked list. Not locked. */
#pragma once

#include <cstdint>

struct linked_node {
    linked_node *prev, *next;
    void *data;
};

struct linked {
    linked_node *head, *tail;
    uint32_t count;
};

int linked_init(linked *list);
/* Appends at the tail. Null when memory runs out. */
[[nodiscard]] linked_node *linked_add(linked *list, void *data);
/* Frees the node, not its data: fetch `next` first while walking. */
int linked_remove(linked *list, linked_node *node);
/* Frees all nodes, not their data. */
int linked_clear(linked *list);
