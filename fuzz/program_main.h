/* program_main: read before core/main.cpp, whose main() becomes a function. The fuzzer's own signals
 * stay its own. */
#pragma once

#include <csignal>

inline int leave_signals_alone(int, const struct sigaction *, struct sigaction *)
{
    return 0;
}

#define main fuzz_player_main
#define sigaction(...) leave_signals_alone(__VA_ARGS__)

int fuzz_player_main(int argc, char **argv);
