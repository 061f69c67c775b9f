// Exported bodies that no operation starts.

#include <RangeToImageBodies.h>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "range_to_image/GrayImage.h"
#include "range_to_image/LimitRule.h"

#include <RangeImagePtr.h>

#include <algorithm>
#include <cmath>

namespace NOXEL {

namespace {

using RunRange = tbb::blocked_range<int>;

template <class S>
bool allZero(const S* heights, int count)
{
    return std::all_of(heights, heights + count, [](S height) { return height == 0; });
}

/// `blockGray(height, begin of the block)` gives the gray of a height in a block before it is rounded.
template <int block, class S, class D, class BlockGray>
void mapLinear(const LinearRunBody<S, D>& body, const RunRange& range, const BlockGray& blockGray)
{
    for (int i = range.begin(); i != range.end(); ++i) {
        const NoxRun& run = body.runs[i];
        const std::ptrdiff_t line = std::ptrdiff_t{run.row} * body.stride;
        const S* const heights = body.source + line;
        D* const grays = body.destination + line;
        int column = run.first;
        for (; column < run.last - block; column += block)
            for (int k = column; k < column + block; ++k)
                grays[k] = nox::saturate<D>(static_cast<double>(blockGray(heights[k], heights + column)));
        for (; column <= run.last; ++column) {
            const float gray = static_cast<float>(heights[column]) * body.a - body.b;
            grays[column] = heights[column] == 0 ? D(0) : static_cast<D>(nox::t64(gray));
        }
    }
}

template <class S, class D>
float zeroStays(S height, const LinearRunBody<S, D>& body)
{
    return height == 0 ? 0.0f : static_cast<float>(height) * body.a - body.b;
}

}  // namespace

void parallelRECT2Mat1_8Uto8U_TBBSSE::operator()(const RunRange& range) const
{
    mapLinear<16>(*this, range, [&](unsigned char height, const unsigned char* block) {
        return height == 0 && allZero(block, 16) ? 0.0f : static_cast<float>(height) * a - b;
    });
}

void parallelRECT2Mat1_8Uto8U_TBBFMA::operator()(const RunRange& range) const
{
    mapLinear<16>(*this, range, [&](unsigned char height, const unsigned char* /*block*/) {
        return height == 0 ? 0.0f : std::fma(static_cast<float>(height), a, -b);
    });
}

void parallelRECT_16Uto8U_TBBSSE::operator()(const RunRange& range) const
{
    mapLinear<16>(*this, range, [&](unsigned short height, const auto* /*block*/) { return zeroStays(height, *this); });
}

void parallelRECT_16Uto16U_TBBSSE::operator()(const RunRange& range) const
{
    mapLinear<8>(*this, range, [&](unsigned short height, const auto* /*block*/) { return zeroStays(height, *this); });
}

void ImageConverterTBB::Set(double minimum, double maximum, double low, double high, int lowGray, int highGray,
                            int imageType, NoxRangeImage* range, NoxImage* image)
{
    minimum_ = minimum;
    maximum_ = maximum;
    low_ = low;
    high_ = high;
    lowGray_ = lowGray;
    highGray_ = highGray;
    imageType_ = imageType;
    range_ = range;
    image_ = image;
    const int depth = imageType == NoxImageType8U ? NoxImageType8U : NoxImageType16U;
    if (image->Width() != range->Width() || image->Height() != range->Height() || image->BitDepth() != depth ||
        image->Channels() != 1)
        image->SetSize(range->Width(), range->Height(), depth);
}

void ImageConverterTBB::operator()(const tbb::blocked_range<int>& pixels) const
{
    const RangeImagePtr heights(*range_);
    const bool constant = !(maximum_ - minimum_ > 1e-10);
    const double midGray = (static_cast<double>(lowGray_) + highGray_) * 0.5;
    const auto map = [&](auto* grays) {
        using U = std::remove_pointer_t<decltype(grays)>;
        const nox::LimitRule<double, U> rule{
            {low_, high_, high_ - low_, static_cast<double>(highGray_) - lowGray_, lowGray_, highGray_},
            nox::invalidOf(range_->DataType())};
        for (int i = pixels.begin(); i != pixels.end(); ++i) {
            const double height = heights.GetValue(i);
            const bool takesMid =
                constant && height != 0.0 && height != rule.invalid && !nox::isNone<U>(height, rule.invalid);
            grays[i] = takesMid ? static_cast<U>(nox::t64(midGray)) : rule(height);
        }
    };
    if (imageType_ == NoxImageType8U)
        map(image_->ImageData());
    else
        map(reinterpret_cast<unsigned short*>(image_->ImageData()));
}

void ImageLinearTBB::Set(double low, double high, int lowGray, int highGray, int imageType, NoxRangeImage* source,
                         NoxRangeImage* output)
{
    source_ = *source;
    output->SetSize(source_.Width(), source_.Height(), NoxDataType64F);
    output_ = output;
    low_ = low;
    high_ = high;
    scale_ = (static_cast<double>(highGray) - lowGray) / (high - low);
    offset_ = highGray - scale_ * high;
    imageType_ = imageType;
}

void ImageLinearTBB::operator()(const tbb::blocked_range<int>& pixels) const
{
    const RangeImagePtr heights(source_);
    auto* const grays = reinterpret_cast<double*>(output_->Data());
    for (int i = pixels.begin(); i != pixels.end(); ++i) {
        const double height = heights.GetValue(i);
        if (!heights.isValid(i) || !(height >= low_ && height <= high_)) {
            grays[i] = nox::Element<double>::invalid;
            continue;
        }
        const double gray = height * scale_ + offset_;
        grays[i] =
            imageType_ == NoxImageType16U ? static_cast<double>(static_cast<unsigned short>(nox::t64(gray))) : gray;
    }
}

}  // namespace NOXEL
