/* steps: tables of what start-up and shutdown do, and the line that each failure prints. */
#pragma once

#include <cstddef>

using step_subject = char[600];

struct program_step {
    const char *name;    /* of the operation, as faults name it */
    const char *message; /* on failure; null: nothing here can fail the program */
    int (*run)();        /* 0, or another value for failure */
    /* Steps of the platform ask for their faults themselves; the others are asked for here. */
    bool asks_fault = false;
    /* Writes the file or device that a failure was about, and what is wrong with it; "": nothing
     * to say. Null: the operation itself has told. */
    void (*subject)(step_subject &to) = nullptr;
};

/* Runs steps until one fails, which is reported. 0, or -1. */
int steps_start(const program_step *steps, size_t count);
/* Runs all steps and reports each failure. 0, or -1 when any failed. */
int steps_stop(const program_step *steps, size_t count);
