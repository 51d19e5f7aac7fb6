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

/* Forgets what the record holds without freeing it. 0, or -1 for null. */
int linked_init(linked *list);
/* Appends at the tail. Null when memory runs out. */
[[nodiscard]] linked_node *linked_add(linked *list, void *data);
/* Frees the node, not its data: fetch `next` first while walking. 0, or -1 for null. */
int linked_remove(linked *list, linked_node *node);
/* Frees all nodes, not their data. Accepts null. Always 0. */
int linked_clear(linked *list);
