// Helpers shared by the numerics tests.
#pragma once

#include "xmath/xrand.h"

#include <cstdint>
#include <vector>

// A caller's state buffer made current for the guard's lifetime; the previous
// state comes back when it ends.
class borrowed_state {
  public:
    borrowed_state(std::uint32_t seed, int bytes)
        : words_(static_cast<std::size_t>(bytes < 4 ? 1 : (bytes + 3) / 4)) {
        previous_ = xrandom_initstate(seed, words_.data(), bytes);
    }
    ~borrowed_state() {
        if (previous_)
            xrandom_setstate(previous_);
    }
    borrowed_state(const borrowed_state &) = delete;
    borrowed_state &operator=(const borrowed_state &) = delete;

    std::uint32_t *words() { return words_.data(); }
    void *previous() const { return previous_; }

  private:
    std::vector<std::uint32_t> words_;
    void *previous_ = nullptr;
};

// The next `count` raw values of the current state.
inline std::vector<std::int32_t> draw_raw(int count) {
    std::vector<std::int32_t> values;
    for (int i = 0; i < count; ++i)
        values.push_back(xrandom());
    return values;
}
