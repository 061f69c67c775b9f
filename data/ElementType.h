#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

namespace nox {

template <class... T>
struct Types
{
};

template <class T>
struct Tag
{
    using type = T;
};

static_assert(std::is_signed_v<char>, "the signed 8-bit element type is char");

/// The element types of a range image. The place in the list is the code of NoxDataType.
using Elements = Types<unsigned char, char, unsigned short, short, int, float, double>;

/// The same list for declaring and instantiating the exported forms of a body: X is called with each type.
#define NOX_FOR_EACH_ELEMENT(X) X(unsigned char) X(char) X(unsigned short) X(short) X(int) X(float) X(double)

/// Calls f(Tag<T>) for the type with that code. False, and nothing called, when there is no such code.
template <class F, class... T>
bool dispatch(int code, Types<T...> /*list*/, F&& f)
{
    int place = 0;
    return ((code == place++ && (f(Tag<T>{}), true)) || ...);
}

/// The invalid value of an element type and the two questions that bodies ask about it.
template <class T>
struct Element
{
    static constexpr T invalid = std::is_unsigned_v<T> ? T(0) : std::numeric_limits<T>::lowest();

    /// Exactly the invalid value; a NaN is not.
    static constexpr bool isMarker(T v) { return v == invalid; }

    /// |v - invalid| > tolerance for a tolerance in (0, 1): a NaN does not clear it. Neighbours of the float markers
    /// are 2e31 away and an infinity is infinitely far, so inequality decides without a difference that may overflow.
    static constexpr bool clears(T v)
    {
        if constexpr (std::is_floating_point_v<T>)
            return v != invalid && v == v;
        else
            return v != invalid;
    }
};

/// Integer element types are scaled by resolution and offset; float and double hold the height itself.
template <class T>
inline constexpr bool isScaled = std::is_integral_v<T>;

}  // namespace nox
