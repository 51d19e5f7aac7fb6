/* watch_choice: which scene the window shows after a change. */
#include "tools/zerv_skin/watch_choice.h"

void watch_note(watch_choice *choice, const scene &shown)
{
    choice->chosen = true;
    choice->in_list = shown.in_list;
    choice->last[shown.in_list] = shown;
}

/* Who repairs a part wants to see it, whatever was looked at meanwhile. */
static void return_to_repaired(watch_choice *choice, const scene_package &package)
{
    const bool loads[2] = {package.play.loads, package.list.loads};
    const bool shown = choice->in_list, other = !shown;
    const bool came_back = choice->was_broken[shown] && loads[shown];
    if (choice->was_broken[other] && loads[other] && !came_back)
        choice->in_list = other;
    choice->was_broken[false] = !loads[false];
    choice->was_broken[true] = !loads[true];
}

size_t watch_choose(watch_choice *choice, const scene_package &package)
{
    const std::vector<scene> &all = package.scenes;
    return_to_repaired(choice, package);
    if (!choice->chosen && !all.empty())
        watch_note(choice, all[0]);
    size_t found = all.size();
    for (size_t i = 0; i < all.size(); i++) {
        if (all[i].in_list != choice->in_list)
            continue;
        if (all[i].name == choice->last[choice->in_list].name)
            return i;
        if (found == all.size())
            found = i;
    }
    return found;
}
