#include "core/dtype.h"
#include "core/hash.h"
#include "core/memio/xcache.h"
#include "support/capture.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

TEST(Crc32, LongInputsEightBytesAtATime) {
    // Lengths around the eight-byte steps, and a start off any alignment.
    std::vector<unsigned char> data(1000);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned char>(i * 7 + i / 256);
    const std::pair<std::size_t, std::uint32_t> known[] = {
        {1, 0xD202EF8Du},  {7, 0x28B012A9u},  {8, 0x2CFE44E9u},  {9, 0x23FAF38Bu},
        {63, 0xFD395FF8u}, {64, 0xD324A7D4u}, {65, 0xC80B1F57u}, {1000, 0x668F073Du},
    };
    for (const auto &[length, crc] : known)
        EXPECT_EQ(hash_compute(data.data(), length), crc) << length << " bytes";
    EXPECT_EQ(hash_compute(data.data() + 1, 999), 0xD24CFFDEu);
}

TEST(Crc32, KnownValuesAndCachedTable) {
    EXPECT_EQ(hash_string(""), 0u);
    EXPECT_EQ(hash_string("123456789"), 0xCBF43926u);
    EXPECT_EQ(hash_string("saferio"), hash_compute("saferio", 7));
    EXPECT_NE(hash_string("saferio"), hash_string("safeio"));
    auto *table = static_cast<const std::uint32_t *>(xcache_getpointer("crc_table"));
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table[1], 0x77073096u);
    EXPECT_EQ(table[255], 0x2D02EF8Du);
}

namespace {

std::string print(std::uint32_t code, const void *value) {
    std::vector<char> text(DTYPE_TEXT_MAX);
    dtype_print(code, value, text.data());
    return text.data();
}

// Prints a value, scans the text into a second value and compares them.
template <class T> void expect_round_trip(std::uint32_t code, T value) {
    std::vector<unsigned char> original(dtype_size(code)), scanned(dtype_size(code));
    std::memcpy(original.data(), &value, std::min(sizeof value, original.size()));
    std::string text = print(code, original.data());
    ASSERT_EQ(dtype_scanin(code, text.c_str(), scanned.data(), dtype_size(code)), 1) << text;
    EXPECT_EQ(dtype_compare(code, original.data(), scanned.data()), 0)
        << dtype_name(code) << " via '" << text << "'";
}

} // namespace

TEST(TypedValues, EveryStandardTypePrintsAndScansBack) {
    expect_round_trip<std::int8_t>(DTYPE_CHAR, -128);
    expect_round_trip<std::uint8_t>(DTYPE_UCHAR, 255);
    expect_round_trip<std::int16_t>(DTYPE_SHORT, -32768);
    expect_round_trip<std::uint16_t>(DTYPE_USHORT, 65535);
    expect_round_trip<std::int32_t>(DTYPE_INT, -2147483647 - 1);
    expect_round_trip<std::uint32_t>(DTYPE_UINT, 4294967295u);
    expect_round_trip<std::int32_t>(DTYPE_LONG, 123456789);
    expect_round_trip<std::uint32_t>(DTYPE_ULONG, 3000000000u);
    expect_round_trip<float>(DTYPE_FLOAT, 0.1f);
    expect_round_trip<float>(DTYPE_FLOAT, -3.4028235e38f);
    expect_round_trip<double>(DTYPE_DOUBLE, 0.1);
    expect_round_trip<double>(DTYPE_DOUBLE, 1e-310);
    expect_round_trip<long double>(DTYPE_LDOUBLE, 1.0L / 3.0L);
    expect_round_trip<std::int32_t>(DTYPE_BOOL, 1);
    expect_round_trip<std::int32_t>(DTYPE_BOOL, 0);
}

TEST(TypedValues, StringsCopyWholeAndRefuseOverlongTexts) {
    std::vector<char> value(4096), back(4096);
    ASSERT_EQ(dtype_scan(DTYPE_STRING, "a value with blanks and \"quotes\"", value.data()), 1);
    EXPECT_EQ(print(DTYPE_STRING, value.data()), "a value with blanks and \"quotes\"");
    std::string longest(4095, 'x');
    ASSERT_EQ(dtype_scan(DTYPE_STRING, longest.c_str(), value.data()), 1);
    EXPECT_EQ(print(DTYPE_STRING, value.data()), longest);
    message_capture capture;
    std::string overlong(4096, 'x');
    EXPECT_NE(error_of([&] { dtype_scan(DTYPE_STRING, overlong.c_str(), back.data()); }), "");
}

TEST(TypedValues, ScanFailuresAreReported) {
    message_capture capture;
    std::int32_t value = 7;
    EXPECT_EQ(error_of([&] { dtype_scan(DTYPE_BOOL, "yes", &value); }),
              "'yes' is not a valid boolean");
    EXPECT_EQ(value, 7);
    EXPECT_EQ(error_of([&] { dtype_scan(DTYPE_INT, "12a", &value); }),
              "'12a' is not a valid value of type 'int'");
    std::uint8_t byte = 0;
    EXPECT_EQ(error_of([&] { dtype_scan(DTYPE_UCHAR, "256", &byte); }),
              "'256' is out of range for type 'uchar'");
    EXPECT_EQ(error_of([&] { dtype_scan(DTYPE_UINT, "-1", &value); }),
              "'-1' is out of range for type 'uint'");
    EXPECT_EQ(error_of([] { dtype_size(0x77); }), "unknown type '0x0077'");
    EXPECT_EQ(error_of([&] { dtype_scanin(DTYPE_INT, "1", &value, 8); }),
              "xassert(size == dtype_size(type)) failed");
}

TEST(TypedValues, AcceptsTheLibraryNumberForms) {
    std::int32_t value = 0;
    ASSERT_EQ(dtype_scan(DTYPE_INT, "0x10", &value), 1);
    EXPECT_EQ(value, 16);
    ASSERT_EQ(dtype_scan(DTYPE_INT, "'A'", &value), 1);
    EXPECT_EQ(value, 65);
    std::int32_t a = -5, b = 3;
    EXPECT_LT(dtype_compare(DTYPE_INT, &a, &b), 0);
    EXPECT_GT(dtype_compare(DTYPE_UINT, &a, &b), 0) << "as unsigned, -5 is the larger";
}

namespace {

void print_pair(const void *value, char *text) {
    auto *v = static_cast<const std::int16_t *>(value);
    std::snprintf(text, DTYPE_TEXT_MAX, "%d,%d", v[0], v[1]);
}
int scan_pair(const char *text, void *value) {
    auto *v = static_cast<std::int16_t *>(value);
    return std::sscanf(text, "%hd,%hd", &v[0], &v[1]) == 2;
}
int compare_pair(const void *a, const void *b) {
    return std::memcmp(a, b, 4);
}

const dtype_entry pair_types[] = {
    {"pair", 0xa01f, 4, print_pair, scan_pair, compare_pair},
    {"int-override", DTYPE_INT, 4, print_pair, scan_pair, compare_pair},
    {nullptr, 0, 0, nullptr, nullptr, nullptr},
};

const dtype_entry broken_types[] = {
    {"broken", 0xa02f, 4, print_pair, nullptr, compare_pair},
    {nullptr, 0, 0, nullptr, nullptr, nullptr},
};

} // namespace

TEST(TypedValues, ExtendedListIsSearchedFirst) {
    dtype_extend(pair_types);
    EXPECT_STREQ(dtype_name(0xa01f), "pair");
    EXPECT_STREQ(dtype_name(DTYPE_INT), "int-override");
    std::int16_t pair[2] = {0, 0};
    EXPECT_EQ(dtype_scan(0xa01f, "3,-4", pair), 1);
    EXPECT_EQ(pair[1], -4);
    EXPECT_EQ(print(0xa01f, pair), "3,-4");
    dtype_extend(nullptr);
    EXPECT_STREQ(dtype_name(DTYPE_INT), "int");

    message_capture capture;
    EXPECT_EQ(error_of([] { dtype_extend(broken_types); }), "invalid extended typelist");
}
