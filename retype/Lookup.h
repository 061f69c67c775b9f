#pragma once

#include "data/ElementType.h"
#include "data/Lanes.h"
#include "data/Memory.h"
#include "retype/RetypeRules.h"

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

// What a rule gives for heights of 16 bits or less, or for distances of so many bits, found in a table; and the line
// that may be all of one.

namespace nox::retype {

/// What a rule gives for the heights heightAt(0), heightAt(1) and so on; `size` is a multiple of 256.
template <class S, class D, class Rule, class HeightAt>
Scratch<D> tabulate(std::size_t size, const Rule& rule, const HeightAt& heightAt)
{
    auto results = newScratch<D>(size);
    std::array<S, 256> heights;
    for (std::size_t first = 0; first < size; first += heights.size()) {
        for (std::size_t i = 0; i < heights.size(); ++i) heights[i] = heightAt(first + i);
        mapPixels(heights.data(), results.get() + first, heights.size(), rule, rule);
    }
    return results;
}

/// Look-up by the bits of a height.
template <class S, class D>
struct Lookup
{
    static constexpr std::size_t size = std::size_t{1} << (8 * sizeof(S));
    /// Words hold a byte in their upper half, so that two results make one word, which is one store.
    using Entry = std::conditional_t<sizeof(D) == 1, std::uint16_t, D>;
    const Entry* entries;

    static S heightAt(std::size_t bits) { return static_cast<S>(bits); }

    /// @param results  what the rule gives, `size` of them
    static Scratch<Entry> newEntries(const D* results)
    {
        auto entries = newScratch<Entry>(size + 1);
        for (std::size_t i = 0; i < size; ++i)
            entries[i] = static_cast<Entry>(static_cast<std::make_unsigned_t<D>>(results[i]) << kShift);
        entries[size] = 0;
        return entries;
    }

    /// Half of the heights come by one load: loads are what takes the time here.
    [[gnu::always_inline]] void operator()(const S* from, D* to) const
    {
        constexpr int bits = 8 * sizeof(S);
        std::uint64_t heights;
        std::memcpy(&heights, from, sizeof(heights));
        for (int k = 0; k < 4; k += 2, heights >>= 2 * bits) {
            storeTwo(to + k, static_cast<Bits>(heights), static_cast<Bits>(heights >> bits));
            storeTwo(to + 4 + k, static_cast<Bits>(from[4 + k]), static_cast<Bits>(from[5 + k]));
        }
    }

private:
    using Bits = std::make_unsigned_t<S>;
    static constexpr int kShift = 8 * static_cast<int>(sizeof(Entry) - sizeof(D));

    void storeTwo(D* to, Bits first, Bits second) const
    {
        if constexpr (kShift > 0) {
            Entry lower;  // the upper half of the first and the lower one of its neighbour, which is 0
            std::memcpy(&lower, reinterpret_cast<const char*>(entries + first) + 1, sizeof(lower));
            const auto both = static_cast<Entry>(lower | entries[second]);
            std::memcpy(to, &both, sizeof(both));
        } else {
            to[0] = entries[first];
            to[1] = entries[second];
        }
    }
};

/// Look-up for 32-bit heights whose distance from a middle one has 16 bits. The two extreme distances are also those
/// of all heights further away: they give what the invalid height gives, and other heights there go by the rule.
template <class D, class Rule>
struct LookupAround
{
    Lookup<short, D> lookup;
    Rule rule;
    int middle;

    static int heightAt(std::size_t bits, int middle)
    {
        const auto distance = static_cast<short>(bits);
        return distance == INT16_MIN || distance == INT16_MAX ? Element<int>::invalid : middle + distance;
    }

    [[gnu::always_inline]] void operator()(const int* from, D* to) const
    {
        const __m128i centre = _mm_set1_epi32(middle);
        alignas(16) short places[16];
        __m128i none[2], extreme[2];
        for (int k = 0; k < 2; ++k) {
            const Int8 v = eightIntegers(from + 8 * k);
            const __m128i distances = _mm_packs_epi32(_mm_sub_epi32(v.low, centre), _mm_sub_epi32(v.high, centre));
            none[k] = saturatedWords(isNone(v, Element<int>::invalid));
            extreme[k] = _mm_cmpgt_epi16(_mm_set1_epi16(INT16_MIN + 2), _mm_add_epi16(distances, _mm_set1_epi16(1)));
            _mm_store_si128(reinterpret_cast<__m128i*>(places + 8 * k), distances);
        }
        const bool near = _mm_testc_si128(_mm_packs_epi16(none[0], none[1]), _mm_packs_epi16(extreme[0], extreme[1]));
        if (near)
            turn<16>(places, to, lookup);
        else
            turn<16>(from, to, rule);
    }
};

template <class D, class Rule>
inline constexpr std::size_t unitOf<LookupAround<D, Rule>> = 16;

/// The straight line through a table of words for bytes, from its first height to its last; where the steps are whole
/// it may be all of the table.
template <class S>
struct ByteToWordLine
{
    float first, step;

    explicit ByteToWordLine(const unsigned short* results)
        : first(results[static_cast<unsigned char>(std::numeric_limits<S>::lowest() + 1)]),
          step((results[static_cast<unsigned char>(std::numeric_limits<S>::max())] - first) / 254.0f)
    {
    }

    [[gnu::always_inline]] void operator()(const S* from, unsigned short* to) const
    {
        const Counts8 counts(from);
        store(to, counts.zeros(), nox::truncated(counts.floats(-1.0f) * Float8(step) + Float8(first)));
    }
};

}  // namespace nox::retype
