/* device_web_audience: who may look on, how many do, and how they hear that there is news. */
#include "platform/device/web/device_web.h"

#include <atomic>
#include <libwebsockets.h>

constinit web_gate web_audience_gate = {};
constinit char web_audience_within[64] = "";

static constinit std::atomic<lws_context *> server{nullptr};
static constinit std::atomic<uint32_t> pages{0}, listeners{0};

void web_audience_serve(lws_context *context)
{
    server = context;
}

static void count(std::atomic<uint32_t> &of, bool more)
{
    of += more ? 1 : static_cast<uint32_t>(-1);
}

void web_audience_count_page(bool more)
{
    count(pages, more);
}

void web_audience_count_listener(bool more)
{
    count(listeners, more);
}

bool web_audience_listens()
{
    return listeners > 0;
}

void web_audience_wake()
{
    lws_context *context = server;
    if (context && pages > 0)
        lws_cancel_service(context);
}
