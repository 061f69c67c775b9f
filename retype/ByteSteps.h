#pragma once

#include "data/Checked.h"
#include "retype/RetypeRules.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace nox::retype {

/// Bytes for 16-bit heights on a finer scale: a straight line in whole numbers, on which some steps come a height late,
/// since the rule rounds. An unsigned byte is the place on the line; of signed ones, which are truncated towards zero,
/// 0 takes two places. Below the line lies one result, and 0 is invalid. That all of this is so for a table is to be
/// proved by comparing every height.
template <class D>
class ByteSteps
{
public:
    /// @param results  what the rule gives for each height
    ByteSteps(const D* results, double resolution, double offset)
    {
        const double places = 100.0 * resolution;  // a height
        const double start = std::round(offset - kFirst / places);
        if (!(places > 0.0 && places <= 0.5 && start >= 1.0 && start <= 65535.0)) return;
        lowest_ = static_cast<std::uint16_t>(t32(start));
        factor_ = static_cast<std::uint16_t>(t32(std::ceil(65536.0 * places)));
        const auto firstAt = [this](int place) { return (place * 65536 + factor_ - 1) / factor_; };
        span_ = static_cast<std::uint16_t>(std::min(firstAt(255) + 1, 65535));
        for (int place = 1; place < 256; ++place) {
            const int height = lowest_ + firstAt(place);
            if (height < 65536 && results[height] != at(place))
                late_[place >> 7][place & 15] |= static_cast<std::uint8_t>(1 << (place >> 4 & 7));
        }
    }

    [[gnu::always_inline]] void operator()(const unsigned short* from, D* to) const
    {
        const __m128i zero = _mm_setzero_si128();
        const Sixteen heights{load(from), load(from + 8)};
        const Sixteen above =
            heights.each([&](__m128i v) { return _mm_min_epu16(_mm_subs_epu16(v, words(lowest_)), words(span_)); });
        const auto line = [&](__m128i v) { return _mm_mulhi_epu16(v, words(factor_)); };
        const __m128i place = above.each(line).bytes();
        const __m128i placeBefore = above.each([&](__m128i v) { return line(_mm_subs_epu16(v, words(1))); }).bytes();

        // A bit for each place: the upper half of a place picks it in a byte that the lower half, with the highest
        // bit, picks; that is 0 in the table of the other half of the places.
        const __m128i byte = _mm_or_si128(_mm_shuffle_epi8(load(late_[0]), place),
                                          _mm_shuffle_epi8(load(late_[1]), _mm_xor_si128(place, _mm_set1_epi8(-128))));
        const __m128i bits = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 1, 2, 4, 8, 16, 32, 64, -128);
        const __m128i bit = _mm_shuffle_epi8(bits, _mm_and_si128(_mm_srli_epi16(place, 4), _mm_set1_epi8(15)));
        const __m128i onTime = _mm_cmpeq_epi8(_mm_and_si128(byte, bit), zero);
        __m128i result = _mm_min_epu8(place, _mm_or_si128(placeBefore, onTime));

        if constexpr (std::is_signed_v<D>) {
            const __m128i fromZeroOn = _mm_cmplt_epi8(result, zero);
            result = _mm_add_epi8(_mm_add_epi8(result, _mm_set1_epi8(-127)), fromZeroOn);
        }
        const auto isZero = [&](__m128i v) { return _mm_cmpeq_epi16(v, zero); };
        result = _mm_sub_epi8(result, above.each(isZero).masks());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to),
                         select(heights.each(isZero).masks(), _mm_set1_epi8(Element<D>::invalid), result));
    }

private:
    static constexpr double kFirst = std::is_signed_v<D> ? 128.0 : 127.0;  ///< places from the first to height 0

    struct Sixteen
    {
        __m128i low, high;

        template <class F>
        Sixteen each(const F& f) const
        {
            return {f(low), f(high)};
        }
        __m128i bytes() const { return _mm_packus_epi16(low, high); }
        __m128i masks() const { return _mm_packs_epi16(low, high); }
    };

    static D at(int place) { return static_cast<D>(std::is_signed_v<D> ? place - (place > 127 ? 128 : 127) : place); }
    static __m128i words(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
    static __m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }

    std::uint16_t lowest_ = 0, span_ = 0, factor_ = 0;
    std::uint8_t late_[2][16] = {};
};

template <class D>
inline constexpr std::size_t unitOf<ByteSteps<D>> = 16;

}  // namespace nox::retype
