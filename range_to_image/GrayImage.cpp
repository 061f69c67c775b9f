#include "range_to_image/GrayImage.h"

#include <NoxROIDataConvert.h>

#include "frame/OutputPlane.h"

#include <algorithm>
#include <tuple>

namespace nox {

namespace {

/// Clips, sorts and makes disjoint, so that no service that rasterises can lead a loop astray.
void tidy(std::vector<NoxRun>* runs, int width, int height)
{
    std::size_t kept = 0;
    for (NoxRun run : *runs) {
        run.first = std::max(run.first, 0);
        run.last = std::min(run.last, width - 1);
        if (run.row >= 0 && run.row < height && run.first <= run.last) (*runs)[kept++] = run;
    }
    runs->resize(kept);

    const auto ascending = [](const NoxRun& a, const NoxRun& b) {
        return std::tie(a.row, a.first) < std::tie(b.row, b.first);
    };
    if (!std::is_sorted(runs->begin(), runs->end(), ascending)) std::sort(runs->begin(), runs->end(), ascending);
    kept = 0;
    for (NoxRun run : *runs) {
        if (kept > 0 && (*runs)[kept - 1].row == run.row) run.first = std::max(run.first, (*runs)[kept - 1].last + 1);
        if (run.first <= run.last) (*runs)[kept++] = run;
    }
    runs->resize(kept);
}

}  // namespace

double invalidOf(int dataType)
{
    double invalid = 0.0;
    dispatch(dataType, Elements{},
             [&](auto tag) { invalid = static_cast<double>(Element<typename decltype(tag)::type>::invalid); });
    return invalid;
}

cv::Mat grayMatrix(const NoxRangeImage& range, const NoxImage& image, int imageType)
{
    const int depth = imageType == NoxImageType8U ? CV_8U : CV_16U;
    return outputPlane(range.Matrix(), image.Matrix(), depth, algorithmConfig());
}

void deliver(const cv::Mat& grays, NoxImage* image)
{
    if (image->ImageData() != grays.data) image->SetMatrix(grays);
}

long regionRuns(const NoxROI& roi, const NoxRangeImage& range, std::vector<NoxRun>* runs)
{
    NoxROI region = roi;
    if (region.ROIType() == NoxROITypeAll) region.GenRect1(NoxPoint(0, 0), NoxPoint(range.Width(), range.Height()));
    const long code = NOXEL::NoxROIDataConvert().ROItoRun(region, runs, range.Width(), range.Height(), nullptr);
    if (code != 0) runs->clear();  // what a failed service left is no region
    tidy(runs, range.Width(), range.Height());
    return code;
}

std::size_t pixelsIn(const std::vector<NoxRun>& runs)
{
    std::size_t sum = 0;
    for (const NoxRun& run : runs) sum += static_cast<std::size_t>(length(run));
    return sum;
}

void fillOutside(cv::Mat& grays, const std::vector<NoxRun>& runs, int background)
{
    if (pixelsIn(runs) == grays.total()) return;
    const auto fill = [&](auto gray) {
        using U = typename decltype(gray)::type;
        forRows(grays.rows, algorithmConfig().tbb, [&](const tbb::blocked_range<std::size_t>& rows) {
            const int first = static_cast<int>(rows.begin()), end = static_cast<int>(rows.end());
            auto run =
                std::lower_bound(runs.begin(), runs.end(), first, [](const NoxRun& a, int row) { return a.row < row; });
            for (int row = first; row != end; ++row) {
                U* const line = pixels<U>(grays, row);
                int column = 0;
                for (; run != runs.end() && run->row == row; ++run) {
                    std::fill(line + column, line + run->first, static_cast<U>(background));
                    column = run->last + 1;
                }
                std::fill(line + column, line + grays.cols, static_cast<U>(background));
            }
        });
    };
    dispatch(grays.depth() == CV_8U ? 0 : 1, Grays{}, fill);
}

}  // namespace nox
