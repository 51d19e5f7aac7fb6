/* hung: a record hung to one of the program's pointers before main(), as start-up does it. */
#pragma once

template <typename record> struct hung {
    hung(record *&pointer, record *to) { pointer = to; }
};
