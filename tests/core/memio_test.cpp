#include "core/memio/gc.h"
#include "core/memio/memio.h"
#include "core/memio/xcache.h"
#include "support/capture.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>

TEST(Allocation, BlocksAreTrackedUntilFreed) {
    std::size_t blocks = memio_blocks_held(), bytes = memio_bytes_held();
    void *a = xmalloc(100);
    char *b = xstrdup("copy me");
    EXPECT_EQ(memio_blocks_held(), blocks + 2);
    EXPECT_EQ(memio_bytes_held(), bytes + 108);
    EXPECT_STREQ(b, "copy me");
    xfree(a);
    xfree(b);
    xfree(nullptr);
    EXPECT_EQ(memio_blocks_held(), blocks);
    EXPECT_EQ(memio_bytes_held(), bytes);
}

TEST(Allocation, CallocZeroesAndReallocKeepsContents) {
    auto *zeroes = static_cast<unsigned char *>(xcalloc(64, 4));
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(zeroes[i], 0);
    std::memcpy(zeroes, "keep", 5);
    auto *grown = static_cast<char *>(xrealloc(zeroes, 100000));
    EXPECT_STREQ(grown, "keep");
    auto *shrunk = static_cast<char *>(xrealloc(grown, 3));
    EXPECT_EQ(std::memcmp(shrunk, "kee", 3), 0);
    xfree(shrunk);
    auto *fresh = static_cast<char *>(xrealloc(nullptr, 8));
    xfree(fresh);
    const unsigned char raw[] = {1, 2, 0, 4};
    auto *dup = static_cast<unsigned char *>(xmemdup(raw, 4));
    EXPECT_EQ(std::memcmp(dup, raw, 4), 0);
    xfree(dup);
}

TEST(Allocation, AlignmentIsHonoured) {
    std::size_t previous = memio_set_alignment(4096);
    void *blocks[8];
    for (auto &block : blocks) {
        block = xmalloc(13);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 4096, 0u);
    }
    void *moved = xrealloc(blocks[0], 5000);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(moved) % 4096, 0u);
    blocks[0] = moved;
    for (void *block : blocks)
        xfree(block);
    EXPECT_EQ(memio_set_alignment(previous), 4096u);
    message_capture capture;
    EXPECT_NE(error_of([] { memio_set_alignment(48); }), "");
    EXPECT_NE(error_of([] { memio_set_alignment(8); }), "");
    EXPECT_EQ(memio_get_alignment(), previous);
}

TEST(AllocationDeathTest, FailureIsFatalWithTheSize) {
    EXPECT_EXIT(xmalloc(SIZE_MAX / 2), testing::ExitedWithCode(0),
                "out of memory - malloc\\(\\) \\(9223372036854775807 bytes, [0-9.]+ MB\\) failed");
    EXPECT_EXIT(xcalloc(SIZE_MAX / 4, 8), testing::ExitedWithCode(0),
                "out of memory - calloc\\(\\)");
    EXPECT_EXIT(
        {
            void *block = xmalloc(4);
            xrealloc(block, SIZE_MAX / 2);
        },
        testing::ExitedWithCode(0), "out of memory - realloc\\(\\)");
}

TEST(LeakReport, NamesEveryBlockStillHeld) {
    message_capture capture;
    void *forgotten = xmalloc(77);
    memio_lock(forgotten);
    memio_trace();
    memio_track();
    ASSERT_FALSE(capture.verboses.empty());
    EXPECT_NE(capture.verboses[0].text.find("still allocated"), std::string::npos);
    bool named = false;
    for (const auto &line : capture.verboses)
        named |=
            line.text.find("(77 bytes) from ./tests/core/memio_test.cpp(") != std::string::npos &&
            line.text.find("(locked)") != std::string::npos;
    EXPECT_TRUE(named);
    memio_unlock(forgotten);
    xfree(forgotten);
}

TEST(LeakReportDeathTest, SilentWhenNothingIsHeld) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            message_capture capture;
            if (memio_blocks_held() != 0)
                std::_Exit(2);
            memio_trace();
            memio_track();
            std::_Exit(capture.verboses.empty() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(GarbageCollection, RundownFreesRegisteredBlocksOnce) {
    std::size_t blocks = memio_blocks_held();
    void *kept = xmalloc(10);
    void *collected = xmalloc(20);
    void *freed_early = xmalloc(30);
    gc_add(collected);
    gc_add(freed_early);
    xfree(freed_early); // must not be freed again by the rundown
    gc_rundown();
    EXPECT_EQ(memio_blocks_held(), blocks + 1);
    xfree(kept);
    message_capture capture;
    EXPECT_NE(error_of([] { gc_add(nullptr); }), "");
}

TEST(SystemCache, NamedBlocksAreFoundAgain) {
    void *block = xcache_alloc("test.block", 256);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(xcache_alloc("test.block", 256), block);
    EXPECT_EQ(xcache_getpointer("test.block"), block);
    EXPECT_EQ(xcache_getpointer("no.such.block"), nullptr);
    auto *bytes = static_cast<unsigned char *>(block);
    EXPECT_EQ(bytes[0] | bytes[255], 0) << "new cache blocks are zeroed";
    message_capture capture;
    EXPECT_NE(error_of([] { xcache_alloc("test.block", 512); }), "");
    EXPECT_NE(error_of([] {
                  xcache_alloc("test.huge", xcache_capacity() + 1);
              }).find("system cache full"),
              std::string::npos);
}
