/* sock_private: what the tests of the network may turn. */
#pragma once

#include <atomic>
#include <cstdint>

/* How long a server may be silent, in milliseconds. Read when a wait begins; any thread. */
extern std::atomic<int32_t> sock_patience_ms;
