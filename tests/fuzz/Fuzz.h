#pragma once

#include "tests/support/FaultyMemory.h"
#include "tests/support/Operations.h"
#include "tests/support/Replacements.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>

/// What the fuzzers make of their bytes: numbers that are often at an edge, regions and shapes of every kind.
namespace fuzz {

using Data = FuzzedDataProvider;

inline double number(Data& data)
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    constexpr double edges[] = {0.0,  -0.0,         1.0,           0.5,           1e-30,  1e-320,  1e15,
                                1e60, 3.4028235e38, 2147483647.0,  -2147483649.0, 9.3e18, 65536.0, 255.0,
                                90.0, 360.0,        -3.4028235e38, inf,           -inf,   NAN};
    switch (data.ConsumeIntegralInRange(0, 3)) {
        case 0: return data.PickValueInArray(edges);
        case 1: return data.ConsumeFloatingPoint<double>();
        default: return data.ConsumeIntegral<std::int8_t>() * 0.25;
    }
}

inline float real(Data& data) { return static_cast<float>(std::clamp(number(data), -3.4028235e38, 3.4028235e38)); }

inline int integer(Data& data)
{
    constexpr int edges[] = {0, 1, -1, 2, 7, 255, 256, 65535, 65536, 46341, 50000, INT_MAX, INT_MIN, INT_MAX - 1};
    return data.ConsumeIntegralInRange(0, 3) == 0 ? data.PickValueInArray(edges) : data.ConsumeIntegralInRange(0, 40);
}

inline NoxPoint point(Data& data) { return {number(data), number(data)}; }
inline NoxVector3d vector(Data& data) { return {real(data), real(data), real(data)}; }

template <class Array, class Make>
Array several(Data& data, Make make, int atMost = 12)
{
    Array array;
    for (int i = data.ConsumeIntegralInRange(0, atMost); i > 0; --i) array.Append(make(data));
    return array;
}

inline NoxROI region(Data& data)
{
    NoxROI roi;
    const auto n = [&] { return number(data); };
    const auto p = [&] { return point(data); };
    switch (data.ConsumeIntegralInRange(0, 8)) {
        case 0: roi.GenRect1(p(), p()); break;
        case 1: roi.GenCircle(p(), n()); break;
        case 2: roi.GenTorus(p(), n(), n(), n(), n()); break;
        case 3: roi.GenRect2(p(), n(), n(), n()); break;
        case 4: roi.GenLine(p(), p()); break;
        case 5: roi.GenEllipse(p(), n(), n(), n()); break;
        case 6: roi.GenPoint(p()); break;
        case 7: roi.GenPolygon(several<NoxPointArray>(data, point)); break;
        default: break;
    }
    return roi;
}

inline Nox3DShape shape(Data& data)
{
    Nox3DShape made;
    const auto v = [&] { return vector(data); };
    const auto r = [&] { return real(data); };
    switch (data.ConsumeIntegralInRange(0, 12)) {
        case 0: made.Gen3DPoint(v()); break;
        case 1: made.Gen3DLine(v(), v(), data.ConsumeBool() ? Nox3DLineTypeEndPoint : Nox3DLineTypeDirection); break;
        case 2: made.Gen3DCircle(v(), v(), r()); break;
        case 3: made.Gen3DPlane(v(), v()); break;
        case 4: made.Gen3DBox(v(), v(), v()); break;
        case 5: made.Gen3DSphere(v(), r()); break;
        case 6: made.Gen3DTriangle(v(), v(), v()); break;
        case 7: made.Gen3DEllipse(v(), v(), r(), r()); break;
        case 8: made.Gen3DEllipsoid(v(), v(), v()); break;
        case 9: made.Gen3DRect(v(), v(), r(), r()); break;
        case 10: made.Gen3DCylinder(v(), v(), r(), r()); break;
        case 11: made.Gen3DPolygon(several<NoxVector3dArray>(data, vector)); break;
        default: break;
    }
    return made;
}

/// Every number that the operations take.
inline void numbers(Data& data, trust::Inputs& in)
{
    for (int* field :
         {&in.width, &in.height, &in.imageType, &in.background, &in.lowGray, &in.highGray, &in.tileWidth,
          &in.tileHeight, &in.dataType, &in.newDataType, &in.samplingFactor, &in.samplingMethod, &in.method})
        if (data.ConsumeBool()) *field = integer(data);
    for (double* field : {&in.resolutionX, &in.resolutionY, &in.resolutionZ, &in.offsetX, &in.offsetY, &in.offsetZ,
                          &in.low, &in.high, &in.above, &in.below, &in.grayScale, &in.grayOffset})
        if (data.ConsumeBool()) *field = number(data);
}

/// Calls one operation; an exception where none may pass ends the program, and so does a code that is none.
inline void call(Data& data, trust::Inputs& in, trust::Outputs& out)
{
    const auto& table = trust::operations();
    const trust::Operation& operation = table[data.ConsumeIntegralInRange<std::size_t>(0, table.size() - 1)];
    try {
        const long code = operation.call(in, out);
        if (std::string(NOXEL::NoxResultText(code)) == "unknown result code") std::abort();
    } catch (const std::exception&) {
        if (!operation.mayThrow) std::abort();
    }
    faulty::limitBlocks(~0UL);
    trust::bytesOf(out);  // all of it can be read
}

/// Memory as a small machine has it, so that sizes beyond it are met often and quickly. The fuzzer itself has all.
struct SmallMachine
{
    replaced::MemoryScope memory{64ULL << 20};

    SmallMachine() { faulty::limitBlocks(128UL << 10); }
    ~SmallMachine() { faulty::limitBlocks(~0UL); }
};

}  // namespace fuzz
