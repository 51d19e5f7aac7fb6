/* view_list_state: what the list screen shows, and which row stands where. */
#include "view/list/view_list_state.h"

#include "lists/record/list.h"
#include "skin/skin.h"
#include "skin/skin_table.h"
#include "view/list/view_list.h"

#include <algorithm>
#include <array>

constinit view_list_skin view_list_state = {};
constinit list *list_page_selected = nullptr;

void view_list_use_page(skin_page *page)
{
    view_list_state.page = page;
    view_list_state.rows = 0;
    for (uint32_t i = 0; i < page->element_count; i++)
        view_list_state.rows += page->elements[i].means.kind == skin_kind_at("item");
}

view_list_model view_list_look(const list *of)
{
    sys_guard guard(list_lock);
    return {of->cursor, of->count};
}

view_list_rows view_list_first_rows(int32_t cursor, uint32_t rows)
{
    const int64_t first = int64_t{cursor} - rows / 2 + (rows % 2 == 0 ? 1 : 0);
    return {first, first};
}

/* Rows far outside the list stay far outside it. */
static int32_t to_index(int64_t row)
{
    return static_cast<int32_t>(std::clamp<int64_t>(row, INT32_MIN, INT32_MAX));
}

static view_list_slot next_item(view_list_rows *walk)
{
    return {to_index(walk->next_item++), false};
}

static view_list_slot next_selected(view_list_rows *walk)
{
    return {to_index(walk->next_selected++), true};
}

typedef view_list_slot (*next_slot)(view_list_rows *walk);

/* By the element's kind; null is no slot. */
static constexpr auto slots = [] {
    std::array<next_slot, skin_kind_count> all = {};
    all[skin_kind_at("item")] = next_item;
    all[skin_kind_at("item_sel")] = next_selected;
    return all;
}();

bool view_list_next_slot(view_list_rows *walk, const skin_element *element, view_list_slot *slot)
{
    const next_slot next = slots[element->means.kind];
    if (next)
        *slot = next(walk);
    return next != nullptr;
}
