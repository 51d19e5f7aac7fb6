/* suggest: the word that was probably meant. */
#include "tools/zerv_skin/suggest.h"

#include "skin/skin_table.h"

#include <algorithm>
#include <cctype>
#include <span>
#include <vector>

/* What other programs call it, where no likeness helps. */
struct alias {
    suggest_kind kind;
    const char *word, *meant;
};

static const alias aliases[] = {
    {suggest_kind::element, "image", "img"},
    {suggest_kind::element, "picture", "img"},
    {suggest_kind::element, "icon", "img"},
    {suggest_kind::element, "label", "text"},
    {suggest_kind::element, "string", "text"},
    {suggest_kind::element, "bar", "scroll"},
    {suggest_kind::element, "progress", "scroll"},
    {suggest_kind::element, "slider", "scroll"},
    {suggest_kind::element, "scrollbar", "scroll"},
    {suggest_kind::element, "cover", "album_cover"},
    {suggest_kind::element, "rectangle", "rect"},
    {suggest_kind::element, "row", "item"},
    {suggest_kind::element, "rows", "list"},
    {suggest_kind::attribute, "w", "width"},
    {suggest_kind::attribute, "h", "height"},
    {suggest_kind::attribute, "left", "x"},
    {suggest_kind::attribute, "top", "y"},
    {suggest_kind::attribute, "size", "font_size"},
    {suggest_kind::attribute, "colour", "color"},
    {suggest_kind::attribute, "align", "text_align"},
    {suggest_kind::attribute, "text", "format"},
    {suggest_kind::attribute, "value", "format"},
    {suggest_kind::attribute, "image", "src"},
    {suggest_kind::attribute, "file", "src"},
    {suggest_kind::attribute, "onclick", "action"},
    {suggest_kind::attribute, "visible", "show"},
    {suggest_kind::action, "previous", "prev"},
    {suggest_kind::action, "back", "prev"},
    {suggest_kind::action, "forward", "next"},
    {suggest_kind::action, "skip", "next"},
    {suggest_kind::action, "resume", "play"},
    {suggest_kind::action, "playlist", "list"},
    {suggest_kind::action, "menu", "list"},
    {suggest_kind::bar_action, "position", "play"},
    {suggest_kind::bar_action, "progress", "play"},
    {suggest_kind::bar_action, "seek", "play"},
    {suggest_kind::bar_action, "scroll", "list"},
    {suggest_kind::bar_action, "power", "battery"},
    {suggest_kind::bar_type, "horizontal", "fill-x"},
    {suggest_kind::bar_type, "vertical", "fill-y"},
    {suggest_kind::bar_type, "fill", "fill-x"},
    {suggest_kind::bar_type, "move", "move-x"},
    {suggest_kind::bar_type, "part", "part-x"},
    {suggest_kind::condition, "cover", "album_cover"},
    {suggest_kind::condition, "stopped", "pause"},
    {suggest_kind::variant_condition, "cover", "album_cover"},
    {suggest_kind::play_token, "$song", "$title"},
    {suggest_kind::play_token, "$track", "$title"},
    {suggest_kind::play_token, "$name", "$title"},
    {suggest_kind::play_token, "$minutes", "$mins"},
    {suggest_kind::play_token, "$seconds", "$secs"},
    {suggest_kind::play_token, "$clock", "$time"},
    {suggest_kind::list_token, "$name", "$title"},
    {suggest_kind::list_token, "$folder", "$path"},
    {suggest_kind::list_token, "$version", "$program_version"},
    {suggest_kind::list_token, "$clock", "$time"},
};

constexpr size_t longest = 40; /* nothing longer is like any of them */

static std::string folded(const std::string &word)
{
    std::string lower;
    for (const char c : word)
        lower += c == '-' ? '_' : static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return lower;
}

/* Letters to insert, leave out, change or swap until one word is the other. */
static size_t distance(const std::string &a, const std::string &b)
{
    std::vector<size_t> before(b.size() + 1), last(b.size() + 1), now(b.size() + 1);
    for (size_t j = 0; j <= b.size(); j++)
        last[j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        now[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                now[j] = std::min(now[j], before[j - 2] + 1);
        }
        before = last;
        last = now;
    }
    return last[b.size()];
}

using word_list = std::vector<std::string>;

template <typename entry> static word_list names_of(std::span<const entry> table)
{
    word_list names;
    for (const entry &each : table)
        if (*each.name)
            names.push_back(each.name);
    return names;
}

static word_list tokens_of(uint8_t screen)
{
    word_list names;
    for (const skin_token &each : skin_tokens)
        if (each.screens & screen)
            names.push_back("$" + std::string(each.name));
    return names;
}

static word_list conditions_of_variants()
{
    word_list names;
    for (const skin_word &each : skin_conditions)
        if (each.of_variant)
            names.push_back(each.name);
    return names;
}

static word_list words_of(suggest_kind kind)
{
    switch (kind) {
    case suggest_kind::element:
        return names_of<skin_kind>(skin_kinds);
    case suggest_kind::attribute:
        return names_of<skin_attribute>(skin_element_attributes);
    case suggest_kind::root_attribute:
        return names_of<skin_attribute>(skin_root_attributes);
    case suggest_kind::action:
        return names_of<skin_word>(skin_presses);
    case suggest_kind::bar_action:
        return names_of<skin_word>(skin_bar_actions);
    case suggest_kind::bar_type:
        return names_of<skin_bar_type>(skin_bar_types);
    case suggest_kind::condition:
        return names_of<skin_word>(skin_conditions);
    case suggest_kind::variant_condition:
        return conditions_of_variants();
    case suggest_kind::list_token:
        return tokens_of(skin_on_list);
    case suggest_kind::play_token:
        return tokens_of(skin_on_play);
    }
    return {};
}

std::string suggest_word(suggest_kind kind, const std::string &word)
{
    if (word.empty() || word.size() > longest)
        return "";
    const std::string wanted = folded(word);
    for (const alias &each : aliases)
        if (each.kind == kind && wanted == folded(each.word))
            return each.meant;
    std::string best;
    size_t nearest = std::min<size_t>(wanted.size() / 3, 3) + 1; /* a third may be wrong */
    for (const std::string &candidate : words_of(kind)) {
        const size_t found = distance(wanted, folded(candidate));
        if (found < nearest && word != candidate) {
            nearest = found;
            best = candidate;
        }
    }
    return best;
}

std::string suggest_text(suggest_kind kind, const std::string &word)
{
    const std::string meant = suggest_word(kind, word);
    return meant.empty() ? "" : "; is \"" + meant + "\" meant?";
}
