#pragma once

#include <RetypeBodies.h>

#include "frame/Streaming.h"
#include "retype/RetypeRules.h"

#include <algorithm>
#include <cstddef>

// The rule of each body and the walk over its rows. The bodies themselves write through the caches; the driver, which
// knows the whole image, may write past them.

namespace nox::retype {

template <class S, class D>
GeneralRule<S, D> ruleOf(const NOXEL::RangeImageConverterTBBNew<S, D>& body)
{
    return {body.resolution, body.offset, body.sourceInvalid, body.destinationInvalid, body.divisor, body.targetOffset};
}

inline auto ruleOf(const NOXEL::RangeImageConvertTBB_8Uto16U& body)
{
    return ByteToWordRule{[scale = body.scale, offset = body.offset](const unsigned char* from) {
        return widened(rounded((eightDoubles(from) - offset) * scale / 0.001 + 32768.0));
    }};
}

inline auto ruleOf(const NOXEL::RangeImageConvertTBB_8Uto16U_SSE& body)
{
    return ByteToWordRule{
        [scale = static_cast<float>(body.scale), offset = static_cast<float>(body.offset)](const unsigned char* from) {
            return widened((floats(eightIntegers(from)) - Float8(offset)) * Float8(scale) * Float8(1000.0f) +
                           Float8(32768.0f));
        }};
}

inline auto ruleOf(const NOXEL::RangeImageConvertTBB_8Uto16U_AVX& body)
{
    return ByteToWordRule{
        [scale = static_cast<float>(body.scale), offset = static_cast<float>(body.offset)](const unsigned char* from) {
            return widened((floats(eightIntegers(from)) - Float8(offset)) * Float8(scale) / Float8(0.001f) +
                           Float8(32768.0f));
        }};
}

inline WordToByteRule ruleOf(const NOXEL::RangeConvertTBB16Uto8U_TBB& body) { return {body.scale, body.offset}; }
inline RoundedWordToByteRule ruleOf(const NOXEL::RangeConvertTBB16Uto8U_TBBSSE& body)
{
    return {body.scale, body.offset};
}
inline FloatToByteRule<false> ruleOf(const NOXEL::RangeConvertTBB32Fto8U& body) { return {body.scale, body.offset}; }
inline FloatToByteRule<true> ruleOf(const NOXEL::RangeConvertTBB32Fto8U_SSE& body) { return {body.scale, body.offset}; }

template <class S, class D>
int sourceStride(const NOXEL::RangeImageConverterTBBNew<S, D>& body)
{
    return body.sourceStride;
}
template <class S, class D>
int destinationStride(const NOXEL::RangeImageConverterTBBNew<S, D>& body)
{
    return body.destinationStride;
}
template <class S, class D, class Number>
int sourceStride(const NOXEL::RetypeRows<S, D, Number>& body)
{
    return body.width;
}
template <class S, class D, class Number>
int destinationStride(const NOXEL::RetypeRows<S, D, Number>& body)
{
    return body.width;
}

/// The rows of a body by those rules.
template <class Rows, class Body, class Rule, class Other>
void mapRows(const Rows& rows, const Body& body, const Rule& rule, const Other& other, bool streaming)
{
    const auto columns = static_cast<std::size_t>(std::max(body.width, 0));
    for (auto row = static_cast<std::ptrdiff_t>(rows.begin()); row < static_cast<std::ptrdiff_t>(rows.end()); ++row) {
        const auto* const in = body.source + row * sourceStride(body);
        fillRow(body.destination + row * destinationStride(body), columns, streaming,
                [&](auto* piece, std::size_t first, std::size_t count) {
                    mapPixels(in + first, piece, count, rule, other);
                });
    }
}

template <class Rows, class Body, class Rule>
void mapRows(const Rows& rows, const Body& body, const Rule& rule, bool streaming)
{
    mapRows(rows, body, rule, rule, streaming);
}

}  // namespace nox::retype
