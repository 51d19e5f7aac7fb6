#include "core/lang/lang.h"

#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/str.h"
#include "play/play.h"

#include <clocale>
#include <cstring>

struct language {
    const char *code;
    const char *name;
    const char *locale;
    const char *tag_encoding; /* of tags that are not marked as Unicode */
};

static constexpr language languages[lang_count] = {
    {"ko", "한국어", "ko_KR.UTF-8", "CP949"},
    {"en", "English", "en_US.UTF-8", "ISO-8859-1"},
    {"ja", "日本語", "ja_JP.UTF-8", "CP932"},
};

constinit const char lang_list[lang_count][10] = {"ko", "en", "ja"};
constinit char lang_selected[10] = "";

static const language *find(const char *code)
{
    for (const language &each : languages) {
        if (strcmp(each.code, code) == 0)
            return &each;
    }
    return nullptr;
}

const char *lang_get_name(const char *code)
{
    const language *known = find(code);
    return known ? known->name : "未知";
}

int lang_select(const char *code)
{
    const language *known = find(code);
    if (!known)
        return -1;
    (void)setlocale(LC_ALL, known->locale); /* a machine without it keeps the old one */
    (void)str_copy(lang_selected, known->code);
    {
        sys_guard guard(play_lock); /* the sound thread reads tags under it */
        (void)decoder_mp3_set_tag_native_encoding(known->tag_encoding);
    }
    (void)list_main->update(nullptr, list_main); /* always 0 */
    return 0;
}
