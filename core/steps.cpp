#include "core/steps.h"

#include "core/services/program.h"
#include "platform/base/fault.h"

static int report(const program_step *step)
{
    if (!step->message)
        return 0;
    program_perror(step->message);
    step_subject words = "";
    if (step->subject)
        step->subject(words);
    if (words[0] != '\0')
        program_perror(words);
    return -1;
}

int steps_start(const program_step *steps, size_t count)
{
    for (size_t i = 0; i < count; i++) {
        const program_step *step = &steps[i];
        const bool fails = step->asks_fault && fault_hit(step->name);
        if ((fails || step->run() != 0) && report(step) != 0)
            return -1;
    }
    return 0;
}

/* A fault is asked for after the step has done its work: what was opened is closed all the same. */
int steps_stop(const program_step *steps, size_t count)
{
    int result = 0;
    for (size_t i = 0; i < count; i++) {
        const program_step *step = &steps[i];
        bool failed = step->run() != 0;
        if (step->asks_fault && fault_hit(step->name))
            failed = true;
        if (failed && report(step) != 0)
            result = -1;
    }
    return result;
}
