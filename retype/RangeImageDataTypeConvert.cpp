#include <Nox3DDataConvertAlg.h>
#include <NoxDataType.h>
#include <NoxResultCodes.h>
#include <NoxVarArray.h>
#include <RetypeBodies.h>

#include "data/ElementType.h"
#include "frame/OutputPlane.h"
#include "frame/Parallel.h"
#include "frame/StaticConfig.h"
#include "retype/ByteSteps.h"
#include "retype/Lookup.h"
#include "retype/RetypeRows.h"
#include "retype/Scale.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <type_traits>

namespace NOXEL {

namespace {

/// The scale of the result's numbers.
template <class S, class D>
nox::retype::Scale resultScale(const NoxRangeImage& source)
{
    constexpr bool keepsNumbers = nox::isScaled<S> ? sizeof(D) == 4 && nox::isScaled<D> : !nox::isScaled<D>;
    constexpr bool shiftsBytes = sizeof(S) == 1 && sizeof(D) == 1;
    if (keepsNumbers || shiftsBytes) return {source.ResolutionZ(), source.OffsetZ()};
    return nox::retype::fixedScale(cv::DataType<D>::depth);
}

/// The body for a pair, over packed rows.
template <class S, class D>
auto bodyFor(const NoxRangeImage& image, const cv::Mat& source, const cv::Mat& destination)
{
    const nox::retype::Scale scale = nox::retype::scaleOf(image);
    const S* const in = source.ptr<S>();
    D* const out = const_cast<D*>(destination.ptr<D>());
    const int width = source.cols;
    if constexpr (std::is_same_v<S, unsigned char> && std::is_same_v<D, unsigned short>) {
        return RangeImageConvertTBB_8Uto16U(in, out, width, nox::throughFloat(scale.resolution),
                                            nox::throughFloat(scale.offset));
    } else if constexpr (std::is_same_v<S, unsigned short> && std::is_same_v<D, unsigned char>) {
        return RangeConvertTBB16Uto8U_TBB(in, out, width, static_cast<float>(scale.resolution),
                                          static_cast<float>(scale.offset));
    } else if constexpr (std::is_same_v<S, float> && std::is_same_v<D, unsigned char>) {
        return RangeConvertTBB32Fto8U(in, out, width, 0.01f, 127.0f);
    } else {
        constexpr nox::retype::Scale units = nox::retype::fixedScale(sizeof(D) == 1 ? NoxDataType8U : NoxDataType16U);
        return RangeImageConverterTBBNew<S, D>(cv::DataType<S>::depth, cv::DataType<D>::depth, in, out, width, width,
                                               width, scale.resolution, scale.offset, nox::Element<S>::invalid,
                                               nox::Element<D>::invalid, units.resolution, units.offset);
    }
}

/// Runs the body with those rules over all rows.
template <class Body, class Rule, class Other>
void runOverRows(const Body& body, int rows, const Rule& rule, const Other& other)
{
    using D = std::remove_pointer_t<decltype(body.destination)>;
    const bool streaming =
        nox::outgrowsCaches<D>(static_cast<std::size_t>(rows) * static_cast<std::size_t>(body.width));
    nox::forRows(rows, nox::algorithmConfig().tbb, [&](const tbb::blocked_range<std::size_t>& range) {
        nox::retype::mapRows(range, body, rule, other, streaming);
    });
}

/// What may give the same as a table and take turns with it.
template <class S, class D, class Rule>
auto fasterRule(const Rule& rule, const D* results)
{
    if constexpr (sizeof(D) == 2)
        return nox::retype::ByteToWordLine<S>(results);
    else
        return nox::retype::ByteSteps<D>(results, rule.resolution, rule.offset);
}

/// A table pays where the rule costs as much as a look-up, and there are many more pixels than it has heights.
template <class S, class D, class Body>
void run(const Body& body, int rows)
{
    const auto rule = nox::retype::ruleOf(body);
    const auto pixels = static_cast<std::size_t>(rows) * static_cast<std::size_t>(body.width);
    const auto pays = [&](std::size_t size) { return pixels > 8 * size; };
    if constexpr (sizeof(S) + sizeof(D) == 3) {
        using Lookup = nox::retype::Lookup<S, D>;
        if (pays(Lookup::size)) {
            const auto results = nox::retype::tabulate<S, D>(Lookup::size, rule, Lookup::heightAt);
            const auto entries = Lookup::newEntries(results.get());
            const Lookup lookup{entries.get()};
            const auto faster = fasterRule<S>(rule, results.get());
            const auto byFaster = nox::retype::tabulate<S, D>(Lookup::size, faster, Lookup::heightAt);
            if (std::equal(byFaster.get(), byFaster.get() + Lookup::size, results.get()))
                return runOverRows(body, rows, lookup, faster);
            if constexpr (sizeof(D) == 1 && std::is_unsigned_v<D>)
                return runOverRows(body, rows, lookup, rule);  // no division
            return runOverRows(body, rows, lookup, lookup);
        }
    } else if constexpr (std::is_same_v<S, int> && sizeof(D) <= 2) {
        using Lookup = nox::retype::Lookup<short, D>;
        using LookupAround = nox::retype::LookupAround<D, decltype(rule)>;
        if (pays(Lookup::size)) {
            const int middle = std::clamp(nox::t32(body.offset), -(1 << 30), 1 << 30);
            const auto results = nox::retype::tabulate<int, D>(
                Lookup::size, rule, [&](std::size_t bits) { return LookupAround::heightAt(bits, middle); });
            const auto entries = Lookup::newEntries(results.get());
            const LookupAround lookup{{entries.get()}, rule, middle};
            return runOverRows(body, rows, lookup, lookup);
        }
    }
    runOverRows(body, rows, rule, rule);
}

/// Converts the pixels of `image`, which are those of `source`. @return the scale of the result's numbers
nox::retype::Scale convertPixels(const NoxRangeImage& image, const cv::Mat& source, cv::Mat& destination)
{
    nox::retype::Scale scale{};
    bool served = false;
    nox::dispatch(source.depth(), nox::Elements{}, [&](auto from) {
        nox::dispatch(destination.depth(), nox::Elements{}, [&](auto to) {
            using S = typename decltype(from)::type;
            using Element = typename decltype(to)::type;
            if constexpr (nox::retype::isServed<S, Element>) {
                constexpr bool signedByte = std::is_same_v<S, unsigned char> && std::is_same_v<Element, char>;
                using D = std::conditional_t<signedByte, signed char, Element>;
                run<S, D>(bodyFor<S, D>(image, source, destination), source.rows);
                scale = resultScale<S, D>(image);
                served = true;
            }
        });
    });
    if (!served) throw std::invalid_argument("no such pair of element types");
    return scale;
}

/// Gives `target`, which may be an image of its own or the output, the converted pixels and what belongs to them.
void convertInto(const NoxRangeImage& source, NoxRangeImage* target, int dataType)
{
    const cv::Mat pixels = source.Matrix();  // keeps them alive, whoever else lets them go
    const bool inPlace = nox::takesResult(pixels, target->Matrix(), dataType);
    cv::Mat result = inPlace ? target->Matrix() : nox::newPlaneFor(pixels, dataType);
    const nox::retype::Scale scale = convertPixels(source, pixels, result);

    NoxVarArray parameters;
    if (source.Type() == 1) {
        parameters.SetSize(6);
        for (int i = 0; i < 4; ++i) parameters[i] = source.GetParaValue(i);
        parameters[4] = scale.resolution;
        parameters[5] = scale.offset;
    }
    if (!inPlace) target->SetMatrix(result);
    target->SetType(source.Type() == 1 ? 1 : 0);
    target->SetInfo(parameters);
    target->SetInfo(scale.resolution, scale.offset, source.ResolutionX(), source.OffsetX(), source.ResolutionY(),
                    source.OffsetY());
}

}  // namespace

long Nox3DDataConvertAlg::NoxRangeImageDataTypeConvert(NoxRangeImage& source, NoxRangeImage* output, int dataType)
{
    if (nox::pixelCount(source) == 0) return code::rangeImageEmpty;
    convertInto(source, output, dataType);
    return code::success;
}

long Nox3DDataConvertAlg::NoxRangeImageDataTypeConvertShared(NoxRangeImage& source, NoxRangeImage* output, int dataType)
{
    if (nox::pixelCount(source) == 0) return code::rangeImageEmpty;
    NoxRangeImage target;
    convertInto(source, &target, dataType);
    *output = target;
    return code::success;
}

}  // namespace NOXEL
