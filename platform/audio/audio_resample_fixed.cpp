/* audio_resample_fixed: other rates by integers: a low-pass filter, taken at the places where output
 * falls between input. */
#include "platform/audio/audio_resample.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <numeric>

/* The filter is a sine over its place, as wide as so many of its crossings of zero on each side,
 * under a Kaiser window: 95 dB down where the window ends what the sine lets through. */
constexpr int crossings = 40;
constexpr double window_shape = 9.6;
/* The middle of its slope, of the lower rate's half: what could come back as another tone is gone
 * where it begins. */
constexpr uint64_t slope_thousandths = 940;
constexpr int one_bits = 29; /* a tap of this is 1: sums of any sound fit into 64 bits */
constexpr int steps = 64;    /* of the shape, between two crossings */
constexpr uint32_t most_rows = 512;
constexpr uint32_t feed_frames = 1024; /* room for input beside what the filter covers */
constexpr int place_bits = 32;
constexpr int part_bits = 15; /* between two steps or rows */

/* The compiler's own arithmetic: what it makes of it are whole numbers. */
static consteval double sine_of_half_turns(double turns)
{
    /* Sixteen half turns are as good as none: the series wants a small angle. */
    while (turns >= 2)
        turns -= 2;
    const double angle = (turns > 1 ? turns - 2 : turns) * 3.14159265358979323846;
    double term = angle, sum = angle;
    for (int i = 1; i < 20; i++) {
        term *= -angle * angle / (2 * i * (2 * i + 1));
        sum += term;
    }
    return sum;
}

/* The modified Bessel function of order 0, of the root of four times `quarter`. */
static consteval double bessel(double quarter)
{
    double term = 1, sum = 1;
    for (int i = 1; i < 40; i++) {
        term *= quarter / (i * i);
        sum += term;
    }
    return sum;
}

static consteval int32_t shape_at(int step)
{
    const double place = static_cast<double>(step) / steps, part = place / crossings;
    const double sine =
        step == 0 ? 1 : sine_of_half_turns(place) / (3.14159265358979323846 * place);
    const double quarter = window_shape * window_shape / 4;
    const double window = part < 1 ? bessel(quarter * (1 - part * part)) / bessel(quarter) : 0;
    const double value = sine * window * (1 << one_bits);
    return static_cast<int32_t>(value < 0 ? value - 0.5 : value + 0.5);
}

/* One side of the filter, and what lies around its ends for the curve between two steps. */
static consteval auto shape_made()
{
    std::array<int32_t, crossings *steps + 4> shape = {};
    for (int i = 0; i <= crossings * steps; i++)
        shape[static_cast<size_t>(i) + 1] = shape_at(i);
    shape[0] = shape[2];
    return shape;
}
static constexpr auto shape = shape_made();

struct audio_resampler {
    uint32_t from, to;  /* rates without their common part */
    uint32_t rows;      /* places between two input frames that have taps of their own */
    uint32_t taps;      /* of a row, even */
    uint32_t place;     /* of the next output behind an input frame, of `to` */
    uint32_t at, count; /* input: where the filter begins, and all that there is */
    uint32_t silence;   /* frames of it that stand behind the last input and have not gone in */
    int32_t *frames;    /* taps + feed_frames of input */
    int32_t *bank;      /* rows + 1 of them: the last begins the next input frame */
};

/* The filter at a distance from its middle, of steps << place_bits. */
static int32_t shape_at_place(uint64_t distance)
{
    const size_t step = static_cast<size_t>(distance >> place_bits);
    if (step >= static_cast<size_t>(crossings) * steps)
        return 0;
    /* A curve of third degree through four steps, by their differences. */
    const int32_t *s = &shape[step];
    const int64_t before = s[0], here = s[1], next = s[2], last = s[3];
    const int64_t part = (distance >> (place_bits - part_bits)) & ((1 << part_bits) - 1);
    const int64_t one = (-2 * before - 3 * here + 6 * next - last) / 6;
    const int64_t two = (before - 2 * here + next) / 2;
    const int64_t three = (-before + 3 * here - 3 * next + last) / 6;
    int64_t value = (three * part >> part_bits) + two;
    value = (value * part >> part_bits) + one;
    return static_cast<int32_t>((value * part >> part_bits) + here);
}

/* How far an input frame moves along the filter, of a crossing. */
struct filter_pace {
    uint64_t part, whole;
};

static filter_pace pace_of(const audio_resampler *resampler)
{
    return {std::min(resampler->from, resampler->to) * slope_thousandths,
            uint64_t{resampler->from} * 1000};
}

static void fill_bank(audio_resampler *resampler)
{
    const filter_pace pace = pace_of(resampler);
    const int64_t rows = resampler->rows, taps = resampler->taps;
    /* Steps from one row to the next. */
    const uint64_t unit = (pace.part * steps << place_bits) / (pace.whole * resampler->rows);
    int32_t *to = resampler->bank;
    for (int64_t row = 0; row <= rows; row++)
        for (int64_t tap = 0; tap < taps; tap++) {
            const int64_t distance = llabs((tap - taps / 2 + 1) * rows - row);
            const int64_t value = shape_at_place(static_cast<uint64_t>(distance) * unit);
            *to++ = static_cast<int32_t>(value * static_cast<int64_t>(pace.part) /
                                         static_cast<int64_t>(pace.whole));
        }
}

audio_resampler *audio_resampler_new(uint32_t from_rate, uint32_t to_rate)
{
    assert(from_rate > 0 && to_rate > 0);
    audio_resampler *made = static_cast<audio_resampler *>(calloc(1, sizeof *made));
    if (!made)
        return nullptr;
    const uint32_t common = std::gcd(from_rate, to_rate);
    made->from = from_rate / common;
    made->to = to_rate / common;
    made->rows = std::min(made->to, most_rows);
    const filter_pace pace = pace_of(made);
    const uint32_t half =
        static_cast<uint32_t>((crossings * pace.whole + pace.part - 1) / pace.part);
    made->taps = 2 * half;
    /* Silence stands before the first frame, so that it can be in the middle. */
    made->count = half - 1;
    made->silence = half;
    made->frames =
        static_cast<int32_t *>(calloc(made->taps + feed_frames, 2 * sizeof *made->frames));
    made->bank =
        static_cast<int32_t *>(calloc((made->rows + 1) * size_t{made->taps}, sizeof *made->bank));
    if (!made->frames || !made->bank) {
        audio_resampler_free(made);
        return nullptr;
    }
    fill_bank(made);
    return made;
}

void audio_resampler_free(audio_resampler *resampler)
{
    if (!resampler)
        return;
    free(resampler->frames);
    free(resampler->bank);
    free(resampler);
}

struct filtered {
    int64_t left, right;
};

static filtered filter(const audio_resampler *resampler, uint32_t row)
{
    const int32_t *taps = resampler->bank + size_t{row} * resampler->taps;
    const int32_t *frame = resampler->frames + 2 * size_t{resampler->at};
    filtered sum = {1 << (one_bits - 1), 1 << (one_bits - 1)};
    for (uint32_t i = 0; i < resampler->taps; i++, frame += 2) {
        sum.left += int64_t{taps[i]} * frame[0];
        sum.right += int64_t{taps[i]} * frame[1];
    }
    return sum;
}

static int32_t saturate(int64_t sum)
{
    return static_cast<int32_t>(std::clamp<int64_t>(sum >> one_bits, INT32_MIN, INT32_MAX));
}

static int64_t between(int64_t a, int64_t b, int64_t part)
{
    return a + ((b - a) >> part_bits) * part;
}

static void make_frame(const audio_resampler *resampler, int32_t *to)
{
    const uint64_t place = uint64_t{resampler->place} * resampler->rows;
    const uint32_t row = static_cast<uint32_t>(place / resampler->to);
    const int64_t part =
        static_cast<int64_t>(((place % resampler->to) << part_bits) / resampler->to);
    filtered sum = filter(resampler, row);
    if (part > 0) {
        const filtered next = filter(resampler, row + 1);
        sum = {between(sum.left, next.left, part), between(sum.right, next.right, part)};
    }
    to[0] = saturate(sum.left);
    to[1] = saturate(sum.right);
}

static void advance(audio_resampler *resampler)
{
    resampler->at += resampler->from / resampler->to;
    resampler->place += resampler->from % resampler->to;
    if (resampler->place >= resampler->to) {
        resampler->place -= resampler->to;
        resampler->at++;
    }
}

/* Takes input in, or the silence behind it. Returns the frames. */
static uint32_t feed(audio_resampler *resampler, const int32_t *from, size_t ready)
{
    const uint32_t passed = std::min(resampler->at, resampler->count);
    int32_t *frames = resampler->frames;
    resampler->at -= passed;
    resampler->count -= passed;
    memmove(frames, frames + 2 * size_t{passed}, 2 * size_t{resampler->count} * sizeof *frames);
    const uint32_t room = resampler->taps + feed_frames - resampler->count;
    const uint32_t taken = static_cast<uint32_t>(std::min<size_t>(ready, room));
    int32_t *to = frames + 2 * size_t{resampler->count};
    if (from)
        memcpy(to, from, 2 * size_t{taken} * sizeof *to);
    else
        memset(to, 0, 2 * size_t{taken} * sizeof *to);
    resampler->count += taken;
    return taken;
}

int audio_resampler_run(audio_resampler *resampler, const int32_t *from, size_t ready, size_t *used,
                        int32_t *to, size_t room, size_t *made)
{
    *used = *made = 0;
    if (from)
        *used = feed(resampler, from, ready);
    else
        resampler->silence -= feed(resampler, nullptr, resampler->silence);
    for (; *made < room && resampler->at + resampler->taps <= resampler->count; (*made)++) {
        make_frame(resampler, to + 2 * *made);
        advance(resampler);
    }
    return 0;
}
