/* What becomes of freed memory. Each in a process of its own: the allocator is set for good. */
#include "platform/base/heap.h"
#include "support/run_again.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <pthread.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool has_own_heap = true;
#else
constexpr bool has_own_heap = false;
#endif

#ifdef __GLIBC__
#include <malloc.h>

class heap : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (has_own_heap)
            GTEST_SKIP() << "a sanitizer brings a heap of its own";
        if (!can_run_again())
            GTEST_SKIP() << "an emulator's program starts no other one of its kind";
        GTEST_FLAG_SET(death_test_style, "threadsafe"); /* starts the program again */
    }
};

static long resident_kib()
{
    FILE *status = fopen("/proc/self/status", "re");
    char line[200];
    long kib = -1;
    while (status && fgets(line, sizeof line, status))
        (void)sscanf(line, "RssAnon: %ld", &kib);
    if (status)
        (void)fclose(status);
    return kib;
}

static void *filled(size_t bytes)
{
    void *block = malloc(bytes);
    if (block)
        memset(block, 1, bytes);
    return block;
}

/* KiB that stay when a large block was freed that lies before a small one. */
static long kept_kib()
{
    free(filled(1 << 20)); /* what the allocator would learn from */
    const long before = resident_kib();
    void *large = filled(1 << 20);
    void *small = filled(100);
    free(large);
    const long kept = resident_kib() - before;
    free(small);
    return kept;
}

TEST_F(heap, gives_a_large_block_back_at_once)
{
    const auto run = [] {
        heap_begin();
        const long kept = kept_kib();
        (void)fprintf(stderr, "kept %ld KiB\n", kept);
        exit(kept < 64 ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "kept");
}

static int heaps()
{
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    if (!stream)
        return -1;
    (void)malloc_info(0, stream);
    (void)fclose(stream);
    int count = 0;
    for (const char *at = text; (at = strstr(at, "<heap nr=")); at++)
        count++;
    free(text);
    return count;
}

static void *allocate(void *)
{
    return filled(1000);
}

TEST_F(heap, is_one_for_all_threads)
{
    const auto run = [] {
        heap_begin();
        pthread_t thread;
        if (pthread_create(&thread, nullptr, allocate, nullptr) != 0)
            exit(2);
        void *block = nullptr;
        (void)pthread_join(thread, &block);
        const int count = heaps();
        (void)fprintf(stderr, "%d heaps\n", count);
        free(block);
        exit(count == 1 ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "1 heaps");
}
#endif
