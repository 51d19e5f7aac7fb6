/* device_web: what the files of the device that lives in a browser's page share.
 *
 * Three threads: the main thread draws and takes input; the sound thread fills; the server's thread
 * talks to the pages and is the only one that touches the library which does so. */
#pragma once

#include "platform/base/device.h"
#include "platform/device/web/web_http.h"
#include "platform/device/web/wire/web_gate.h"
#include "platform/device/web/wire/web_message.h"
#include "platform/device/web/wire/web_name.h"
#include "platform/device/web/wire/web_picture.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct lws;
struct lws_context;
struct sound_speaker;

/* ---- device_web_audience.cpp: who looks on ---- */

extern web_gate web_audience_gate; /* set before the server's thread starts, then only read */
/* The origin of a page of this machine that shows ours in a frame; "": nobody does. Likewise. */
extern char web_audience_within[64];
/* What a wake-up goes to; null: nobody serves. Main thread. */
void web_audience_serve(lws_context *context);
/* A page more or less, and one that plays the sound. Server's thread. */
void web_audience_count_page(bool more);
void web_audience_count_listener(bool more);
/* Whether any page plays the sound. Any thread. */
bool web_audience_listens();
/* There is something for the pages. Any thread; does nothing where no page looks on. */
void web_audience_wake();

/* ---- device_web_screen.cpp: what is shown ---- */

using web_title = char[600];

int web_screen_open(int32_t width, int32_t height);
int web_screen_close();
int web_screen_show(const fb_surface *frame);
int web_screen_power(int on);
void web_screen_set_title(const char *text);
/* Any thread. The numbers change with the picture and the title; false: it is the one of `serial`. */
bool web_screen_look(uint32_t *serial, uint16_t (&to)[web_pixels]);
bool web_screen_look_title(uint32_t *serial, web_title &to);
bool web_screen_lit();

/* ---- device_web_input.cpp: from the pages to the main thread ---- */

int web_input_open();
int web_input_close();
/* A key, a finger, the battery of the page that holds the keys. Server's thread. */
void web_input_take(const web_message &message);
/* Nobody holds the keys any more: what is down comes up. Server's thread. */
void web_input_let_go();
/* A file of a drop lies in its folder; the drop is whole. Server's thread. */
void web_input_drop(const char *path);
void web_input_drop_end();
void web_input_poll();
void web_input_wait(int32_t ms);
void web_input_wake();
int32_t web_input_battery();

/* ---- device_web_sound.cpp: from the sound thread to the pages ---- */

const sound_speaker *web_speaker();
/* Where a page is in the sound that was made. */
struct web_listener {
    uint64_t next; /* frame that it gets next, counted since the start */
    uint32_t hushes;
};
/* Server's thread. A listener that begins now hears what is made from now on. */
void web_sound_join(web_listener *listener);
/* True once for each time the sound so far was dropped. */
bool web_sound_hushed(web_listener *listener);
/* Takes at most `most` frames; returns how many there were. */
uint32_t web_sound_take(web_listener *listener, int16_t *to, uint32_t most);
/* The page that keeps the time has played all that went to it but `left` frames. */
void web_sound_paced(const web_listener *listener, uint32_t left);
void web_sound_unpaced();

/* ---- device_web_server.cpp: the server and its thread ---- */

int web_server_open();
int web_server_close();

/* ---- device_web_files.cpp: the page's own files, and those that it sends. Server's thread. ---- */

extern const web_page_file web_page_files[]; /* the build makes it out of the folder page/ */
/* As lws_callback_function, for everything that is no socket. */
int web_files_callback(lws *connection, int reason, void *session, void *in, size_t length);

/* ---- device_web_upload.cpp: files that a page sends. Server's thread. ---- */

/* All zero before it begins. */
struct web_upload {
    FILE *file;      /* null: none is under way */
    uint64_t bytes;  /* of the whole file */
    uint64_t left;   /* that are still to come */
    web_name name;   /* that it will have */
    char part[1024]; /* the path of what has come so far */
};
constexpr uint32_t web_upload_mib = 256; /* of one file */

/* Looks where files go (ZERV_WEB_UPLOADS); without it, none are taken. Main thread. */
void web_upload_open();
bool web_upload_taken();

/* Begins a file of `bytes` bytes. A status of 200, or what is wrong with it: nothing is left behind. */
web_answer web_upload_begin(web_upload *upload, const char *name, uint64_t bytes);
/* What does not fit the announced size, or the disk, ends the upload; -1 then. */
int web_upload_add(web_upload *upload, const void *bytes, size_t length);
/* Gives the file its name, and reports it to web_input_drop() where it is one to be queued. */
web_answer web_upload_finish(web_upload *upload);
/* Removes what has come. Accepts an upload that never began, or has finished. */
void web_upload_abort(web_upload *upload);

/* ---- device_web_pages.cpp: the pages that look on, over their sockets. Server's thread. ---- */

int web_pages_callback(lws *connection, int reason, void *session, void *in, size_t length);
/* Asks each page for which there is news to be written to. */
void web_pages_call();
/* Tells every page that the program ends; true once all have heard it. */
bool web_pages_end();
void web_pages_forget();
constexpr size_t web_page_session_bytes = sizeof(void *);
