/* subjects: what the steps of start-up were about when they failed, in the user's words. */
#pragma once

#include "core/steps.h"

void subject_font(step_subject &to);
void subject_library(step_subject &to);
void subject_skins(step_subject &to);
