/* owner: a deleter for std::unique_ptr made of a plain release function. */
#pragma once

#include <memory>

template <auto release> struct releaser {
    template <typename T> void operator()(T *owned) const { (void)release(owned); }
};

/* owner<image, image_free> picture(image_read(path)); */
template <typename T, auto release> using owner = std::unique_ptr<T, releaser<release>>;
