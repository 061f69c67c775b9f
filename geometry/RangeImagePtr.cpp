#include <RangeImagePtr.h>

#include "data/Checked.h"
#include "data/ElementType.h"

#include <stdexcept>

namespace NOXEL {

RangeImagePtr::RangeImagePtr(const NoxRangeImage& image) noexcept
    : data_(image.Data()), count_(nox::pixelCount(image)), dataType_(image.DataType())
{
}

/// Calls use(element, traits of its type).
template <class Access>
void RangeImagePtr::access(int index, const Access& use) const
{
    if (index < 0 || index >= count_) throw std::out_of_range("pixel of a range image");
    nox::dispatch(dataType_, nox::Elements{}, [&](auto tag) {
        using T = typename decltype(tag)::type;
        use(reinterpret_cast<T*>(data_)[index], nox::Element<T>{});
    });
}

bool RangeImagePtr::isValid(int index) const
{
    bool valid = false;
    access(index, [&](auto& element, auto traits) { valid = !traits.isMarker(element); });
    return valid;
}

double RangeImagePtr::GetValue(int index) const
{
    double value = 0.0;
    access(index, [&](auto& element, auto) { value = static_cast<double>(element); });
    return value;
}

void RangeImagePtr::ReplaceValue(int index, double value)
{
    access(index, [&](auto& element, auto) { element = nox::saturate<std::decay_t<decltype(element)>>(value); });
}

void RangeImagePtr::inValidate(int index)
{
    access(index, [](auto& element, auto traits) { element = traits.invalid; });
}

}  // namespace NOXEL
