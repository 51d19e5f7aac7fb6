/* covers: the pictures of the demo music, drawn by formulas. */
#pragma once

#include "tests/makers/maker_picture.h"

maker_picture cover_spring_walk(int size);
maker_picture cover_night_train(int size);
