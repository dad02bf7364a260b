#include "core/hash.h"
#include <gtest/gtest.h>
TEST(Smoke, Crc) { EXPECT_EQ(hash_string("123456789"), 0xCBF43926u); }
