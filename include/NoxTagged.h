#pragma once

#include <cstddef>
#include <tuple>
#include <utility>
#include <variant>

namespace NOXEL {

/// One kind of a tagged value: its code and the parameters that it carries.
template <int Code, class... Parameters>
struct NoxKind
{
    static constexpr int code = Code;
    std::tuple<Parameters...> parameters;
};

/// A value that is one of several kinds, told apart by their codes; the first kind is the default. What regions and
/// shapes have in common.
template <class... Kinds>
class NoxTagged
{
public:
    int Code() const noexcept
    {
        constexpr int codes[] = {Kinds::code...};
        return codes[value_.index()];
    }

    /// Makes the value that kind. When a copy of a parameter throws, the value stays as it was.
    template <int Code, class... Parameters>
    void Set(const Parameters&... parameters)
    {
        value_ = Kind<Code>{{parameters...}};
    }

    /// Hands out the parameters of that kind; false, and nothing written, when the value is another.
    template <int Code, class... Parameters>
    bool Get(Parameters*... parameters) const
    {
        const auto* kind = std::get_if<Kind<Code>>(&value_);
        if (!kind) return false;
        std::tie(*parameters...) = kind->parameters;
        return true;
    }

private:
    using Value = std::variant<Kinds...>;

    static constexpr std::size_t place(int code)
    {
        constexpr int codes[] = {Kinds::code...};
        std::size_t i = 0;
        while (codes[i] != code) ++i;
        return i;
    }

    template <int Code>
    using Kind = std::variant_alternative_t<place(Code), Value>;

    Value value_;
};

}  // namespace NOXEL
