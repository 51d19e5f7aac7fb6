/* maker_http: an HTTP server on 127.0.0.1 that answers, or misbehaves, as told.
 *
 *     maker_http server;
 *     server.answer("/song.lrc", {.body = "[00:01.00]one"});
 *     sock *from = http_open(server.url("/song.lrc").c_str());
 *
 * Each connection has its thread and carries one request. Ending the server cuts every connection,
 * however long its answer would have taken. All functions: any thread. */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct maker_http_answer {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers = {}; /* {"Location", "http://..."} */
    std::string body = {};
    /* What Content-Length says; -1: the truth, -2: nothing, the end of the connection ends it. */
    int64_t announce = -1;
    bool chunked = false;   /* sent in chunks of `piece` bytes, without Content-Length */
    bool endless = false;   /* the body over and over, until the reader goes away */
    int head_delay_ms = 0;  /* before the first byte of the answer */
    int line_delay_ms = 0;  /* before each further line of the head */
    size_t piece = 65536;   /* bytes of the body sent at once */
    int piece_delay_ms = 0; /* before each piece */
    int64_t cut_after = -1; /* bytes of the body after which the connection is torn down */
    bool silent = false;    /* never answers */
    std::string raw = {};   /* sent instead of all of the above, unless empty */
};

struct maker_http_request {
    std::string method, target; /* "GET", "/path?query" */
    std::string head;           /* all of it, line ends included */
};

struct maker_http {
    maker_http();
    ~maker_http();
    maker_http(const maker_http &) = delete;
    maker_http &operator=(const maker_http &) = delete;

    int port() const;
    std::string host() const; /* "127.0.0.1:PORT" */
    std::string url(const std::string &target) const;
    /* What `target` gets from now on; every other one gets a 404. */
    void answer(const std::string &target, const maker_http_answer &answer);
    /* Asked for every target without an answer of its own. */
    void answer_all(std::function<maker_http_answer(const maker_http_request &)> answer);
    /* Every request so far, in the order of arrival. */
    std::vector<maker_http_request> requests() const;
    /* Waits until so many requests have arrived. False when the time ran out. */
    bool wait_for_requests(size_t count, int ms = 10000) const;
    /* Waits until no connection is open. False when the time ran out. */
    bool wait_until_idle(int ms = 10000) const;
    /* Ends all connections and the listening; called by the destructor too. */
    void stop();

    struct state;

  private:
    std::unique_ptr<state> own;
};
