/* synth_instruments: how each instrument sounds. */
#include "demo/synth.h"

#include <algorithm>
#include <cmath>
#include <complex>

/* The same noise at each build. */
struct noise_source {
    uint32_t state;

    float next()
    {
        state = state * 1664525 + 1013904223;
        return static_cast<float>(state >> 8) / 8388608.0f - 1;
    }
};

static double rise(double t, double seconds)
{
    return t < seconds ? t / seconds : 1;
}

/* 1 while the note is held, then down to nothing. */
static double release(double t, double length, double seconds)
{
    return t < length ? 1 : std::max(1 - (t - length) / seconds, 0.0);
}

static size_t size_of(double rate, double seconds)
{
    return static_cast<size_t>(rate * seconds);
}

/* A string: a burst of noise that runs round a loop and loses its brightness on the way. */
void synth_harp(std::vector<float> &samples, double rate, double freq, double length)
{
    const double period = rate / freq;
    const size_t size = static_cast<size_t>(period - 0.5);
    const float part =
        static_cast<float>(period - 0.5 - static_cast<double>(size)); /* between two samples */
    std::vector<float> loop(size);
    noise_source noise = {static_cast<uint32_t>(freq * 7919)};
    float soft = 0;
    for (float &value : loop) {
        soft += 0.45f * (noise.next() - soft);
        value = soft;
    }
    const double tail = 1.6;
    samples.resize(size_of(rate, length + tail));
    const float keep = static_cast<float>(pow(0.001, 1 / (freq * std::min(5.0, 900 / freq + 1.2))));
    size_t at = 0;
    float last = 0, before = 0;
    for (size_t i = 0; i < samples.size(); i++) {
        const float now = loop[at];
        const float tuned = (1 - part) * now + part * last;
        last = now;
        loop[at] = keep * 0.5f * (tuned + before);
        before = tuned;
        at = (at + 1) % size;
        samples[i] = static_cast<float>(release(static_cast<double>(i) / rate, length, tail)) * now;
    }
}

/* An electric piano: one wave bends another, much at the stroke and little later. */
void synth_piano(std::vector<float> &samples, double rate, double freq, double length)
{
    samples.resize(size_of(rate, length + 0.25));
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / rate, turn = 2 * M_PI * freq * t;
        const double bend = (0.25 + 1.1 * exp(-5 * t)) * sin(turn);
        const double tine = 0.12 * exp(-18 * t) * sin(14 * turn);
        const double level = rise(t, 0.004) * exp(-1.3 * t) * release(t, length, 0.25);
        samples[i] = static_cast<float>(0.6 * level * (sin(turn + bend) + tine));
    }
}

/* Multiplies without looking for infinities. */
static std::complex<double> turn_by(std::complex<double> a, std::complex<double> b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/* Three players who are never quite together. */
void synth_strings(std::vector<float> &samples, double rate, double freq, double length)
{
    constexpr double tail = 1.1;
    samples.resize(size_of(rate, length + tail));
    for (const double detune : {0.9975, 1.0, 1.0031})
        for (int n = 1; n <= 7 && n * freq < 6000; n++) {
            const double step = 2 * M_PI * n * freq * detune / rate;
            const std::complex<double> turn = std::polar(1.0, step);
            std::complex<double> wave = std::polar(0.16 / pow(n, 1.5), n * detune);
            for (float &sample : samples) {
                sample += static_cast<float>(wave.imag());
                wave = turn_by(wave, turn);
            }
        }
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / rate, in = rise(t, 0.55);
        const double swell = 1 + 0.08 * sin(2 * M_PI * 0.7 * t);
        samples[i] *= static_cast<float>(in * in * (3 - 2 * in) * swell * release(t, length, tail));
    }
}

void synth_flute(std::vector<float> &samples, double rate, double freq, double length)
{
    samples.resize(size_of(rate, length + 0.16));
    noise_source noise = {static_cast<uint32_t>(freq)};
    float breath = 0;
    double turn = 0;
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / rate;
        const double shake = 0.0045 * rise(t, 0.6) * sin(2 * M_PI * 5.1 * t);
        turn += 2 * M_PI * freq * (1 + shake) / rate;
        breath += 0.12f * (noise.next() - breath);
        const double tone = sin(turn) + 0.22 * sin(2 * turn) + 0.08 * sin(3 * turn);
        const double level = rise(t, 0.07) * release(t, length, 0.16);
        samples[i] = static_cast<float>(0.5 * level * (tone + 0.12 * static_cast<double>(breath)));
    }
}

void synth_bass(std::vector<float> &samples, double rate, double freq, double length)
{
    samples.resize(size_of(rate, length + 0.1));
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / rate, turn = 2 * M_PI * freq * t;
        const double bright = exp(-6 * t);
        const double tone =
            sin(turn) + (0.2 + 0.3 * bright) * sin(2 * turn) + 0.25 * bright * sin(3 * turn);
        samples[i] = static_cast<float>(0.7 * rise(t, 0.008) * exp(-0.9 * t) *
                                        release(t, length, 0.1) * tone);
    }
}

void synth_bell(std::vector<float> &samples, double rate, double freq, double length)
{
    samples.resize(size_of(rate, length + 1.5));
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / rate, turn = 2 * M_PI * freq * t;
        const double tone =
            sin(turn + 0.9 * exp(-3 * t) * sin(3.01 * turn)) + 0.3 * exp(-4 * t) * sin(2.76 * turn);
        samples[i] = static_cast<float>(0.5 * rise(t, 0.002) * exp(-2.3 * t) *
                                        release(t, length, 1.5) * tone);
    }
}

void synth_drum(std::vector<float> &samples, double rate, double, double)
{
    samples.resize(size_of(rate, 0.4));
    double turn = 0;
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / rate;
        turn += 2 * M_PI * (46 + 85 * exp(-28 * t)) / rate;
        samples[i] =
            static_cast<float>(rise(t, 0.002) * exp(-9 * t) * release(t, 0.3, 0.1) * sin(turn));
    }
}

/* Noise between two filters; without its lowest part, which would only be felt as dirt. */
static void hiss(std::vector<float> &samples, double rate, double seconds, double attack,
                 double decay, float bright, float dark)
{
    samples.resize(size_of(rate, seconds));
    noise_source noise = {static_cast<uint32_t>(seconds * 1e6)};
    float high = 0, low = 0;
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / rate;
        high += bright * (noise.next() - high);
        low += dark * (high - low);
        samples[i] = static_cast<float>(rise(t, attack) * exp(-decay * t) *
                                        release(t, seconds - 0.02, 0.02)) *
                     (high - low);
    }
}

void synth_brush(std::vector<float> &samples, double rate, double, double)
{
    hiss(samples, rate, 0.32, 0.012, 13, 0.5f, 0.08f);
}

void synth_shaker(std::vector<float> &samples, double rate, double, double)
{
    hiss(samples, rate, 0.12, 0.018, 38, 0.95f, 0.45f);
}
