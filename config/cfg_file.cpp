/* cfg_file: the settings' XML file. */
#include "config/cfg.h"

#include "config/cfg_default.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <expat.h>
#include <sys/stat.h>

constexpr size_t chunk_size = 1024;

struct order_word {
    const char *word;
    int32_t order;
};

/* Any other word, and any other number, is shuffle: the last line. */
static const order_word orders[] = {
    {"normal", cfg_order_normal},
    {"repeat", cfg_order_repeat},
    {"shuffle", cfg_order_shuffle},
};

/* What stands in the file is the user's, although it could not be read: it is kept when it is
 * replaced. Main thread. */
static constinit bool unread = false;

/* One file being read. */
struct cfg_reading {
    XML_Parser parser;
    char name[31];   /* the element whose text is collected */
    char text[1024]; /* what is beyond is dropped */
    size_t fill;     /* bytes of text */
    bool inside;     /* between the element's start and the next end */
    bool refused;    /* wrong version; expat may still call a handler after it was stopped */
};

using parser_owner = owner<XML_ParserStruct, XML_ParserFree>;

static int32_t number_or(const char *text, int32_t fallback)
{
    const char *rest = text;
    const int32_t number = str_to_int32(text, &rest);
    return *rest == '\0' ? number : fallback;
}

static const char *text_or(const char *text, const char *fallback)
{
    return text[0] != '\0' ? text : fallback;
}

static void apply_vol(const char *text)
{
    cfg_vol = number_or(text, cfg_default_vol);
}

static void apply_skin_play(const char *text)
{
    (void)str_copy(cfg_skin_play, text_or(text, cfg_default_skin));
}

static void apply_skin_list(const char *text)
{
    (void)str_copy(cfg_skin_list, text_or(text, cfg_default_skin));
}

static void apply_display_off_timeout(const char *text)
{
    cfg_display_off_timeout = number_or(text, cfg_default_display_off_timeout);
}

static void apply_lang(const char *text)
{
    (void)str_copy(cfg_lang, text_or(text, cfg_default_lang));
}

static void apply_playback_order(const char *text)
{
    cfg_playback_order = cfg_order_shuffle;
    for (const order_word &known : orders)
        if (strcmp(known.word, text) == 0)
            cfg_playback_order = known.order;
}

static void apply_font(const char *text)
{
    (void)str_copy(cfg_font, text_or(text, cfg_default_font));
}

static void apply_library_path(const char *text)
{
    if (text[0] != '\0')
        (void)str_copy(cfg_library_path, text);
    else if (cfg_default_library_usable())
        (void)str_copy(cfg_library_path, cfg_default_library_path);
}

static void apply_debug(const char *text)
{
    cfg_debug = number_or(text, cfg_default_debug);
}

static const char *order_text()
{
    for (const order_word &known : orders)
        if (known.order == cfg_playback_order)
            return known.word;
    return "shuffle";
}

static void write_number(FILE *file, const char *name, int32_t value)
{
    (void)fprintf(file, "\t<%s>%d</%s>\r\n", name, value, name);
}

/* Not escaped: the format has the bytes of a path as they are between its tags. */
static void write_text(FILE *file, const char *name, const char *value)
{
    (void)fprintf(file, "\t<%s>%s</%s>\r\n", name, value, name);
}

struct cfg_setting {
    const char *name;
    void (*apply)(const char *text);
    void (*write)(FILE *file, const char *name);
};

/* In the order of the file. */
static const cfg_setting settings[] = {
    {"vol", apply_vol, [](FILE *f, const char *n) { write_number(f, n, cfg_vol); }},
    {"skin_play", apply_skin_play, [](FILE *f, const char *n) { write_text(f, n, cfg_skin_play); }},
    {"skin_list", apply_skin_list, [](FILE *f, const char *n) { write_text(f, n, cfg_skin_list); }},
    {"display_off_timeout", apply_display_off_timeout,
     [](FILE *f, const char *n) { write_number(f, n, cfg_display_off_timeout); }},
    {"lang", apply_lang, [](FILE *f, const char *n) { write_text(f, n, cfg_lang); }},
    {"playback_order", apply_playback_order,
     [](FILE *f, const char *n) { write_text(f, n, order_text()); }},
    {"font", apply_font, [](FILE *f, const char *n) { write_text(f, n, cfg_font); }},
    {"library_path", apply_library_path,
     [](FILE *f, const char *n) { write_text(f, n, cfg_library_path); }},
    {"debug", apply_debug, [](FILE *f, const char *n) { write_number(f, n, cfg_debug); }},
};

static void start_root(cfg_reading *reading, const char **attributes)
{
    (void)str_copy(cfg_version, "invalid");
    for (const char **at = attributes; *at; at += 2)
        if (strcmp(at[0], "version") == 0)
            (void)str_copy(cfg_version, at[1]);
    if (strcmp(cfg_version, cfg_known_version) == 0)
        return;
    reading->refused = true;
    (void)XML_StopParser(reading->parser, XML_FALSE); /* fails only when it is stopped already */
}

static void XMLCALL on_start(void *user, const char *name, const char **attributes)
{
    cfg_reading *reading = static_cast<cfg_reading *>(user);
    if (reading->refused)
        return;
    if (strcmp(name, "cfg") == 0) {
        start_root(reading, attributes);
        return;
    }
    (void)str_copy(reading->name, name);
    reading->inside = true;
    reading->fill = 0;
}

static void XMLCALL on_text(void *user, const char *text, int length)
{
    cfg_reading *reading = static_cast<cfg_reading *>(user);
    if (reading->refused || !reading->inside)
        return;
    const size_t room = sizeof(reading->text) - 1 - reading->fill;
    const size_t taken = std::min(room, static_cast<size_t>(length));
    memcpy(reading->text + reading->fill, text, taken);
    reading->fill += taken;
}

/* The element that started last decides, not the one that ends. */
static void XMLCALL on_end(void *user, const char *)
{
    cfg_reading *reading = static_cast<cfg_reading *>(user);
    if (reading->refused || !reading->inside)
        return;
    reading->inside = false;
    reading->text[reading->fill] = '\0';
    for (const cfg_setting &setting : settings)
        if (strcmp(setting.name, reading->name) == 0)
            setting.apply(reading->text);
}

/* A read that ends exactly with the file leaves the parser without a last piece, and what is
 * missing then is not noticed: an empty file counts as read. */
static int read_all(cfg_reading *reading, FILE *file)
{
    char chunk[chunk_size];
    for (;;) {
        const size_t got = fread(chunk, 1, sizeof(chunk), file);
        if (got == 0)
            return ferror(file) ? -1 : 0;
        if (XML_Parse(reading->parser, chunk, static_cast<int>(got), feof(file)) != XML_STATUS_OK ||
            reading->refused)
            return -1;
    }
}

/* Whoever holds the other end of a pipe may never say a word. */
static bool is_pipe(FILE *file)
{
    struct stat about;
    return fstat(fileno(file), &about) == 0 && S_ISFIFO(about.st_mode);
}

int cfg_load(const char *path)
{
    file_replace_sweep(path);
    owner<FILE, fclose> file(file_fopen(path, "rb"));
    unread = file || errno != ENOENT;
    if (!file || is_pipe(file.get()))
        return -1;
    parser_owner parser(XML_ParserCreate(nullptr));
    if (!parser)
        return -1;
    cfg_reading reading = {};
    reading.parser = parser.get();
    XML_SetUserData(parser.get(), &reading);
    XML_SetElementHandler(parser.get(), on_start, on_end);
    XML_SetCharacterDataHandler(parser.get(), on_text);
    if (read_all(&reading, file.get()) != 0 || fclose(file.release()) != 0)
        return -1;
    cfg_modified = 0;
    unread = false;
    return 0;
}

int cfg_save(const char *path)
{
    if (unread && file_keep_old(path) != 0)
        return -1;
    file_replacement *replacement = file_replace_open(path);
    if (!replacement)
        return -1;
    unread = false; /* kept, or replaced by what is known */
    FILE *file = file_replace_stream(replacement);
    (void)fprintf(file, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n");
    (void)fprintf(file, "<cfg version=\"%s\">\r\n", cfg_version);
    for (const cfg_setting &setting : settings)
        setting.write(file, setting.name);
    (void)fprintf(file, "</cfg>\r\n");
    /* A disk that is full shows here and leaves the old file. The program is on its way out: there
     * is nobody left to tell and no later moment to try again. */
    (void)file_replace_commit(replacement);
    cfg_modified = 0;
    return 0;
}
