#pragma once

/// A variant, copied by value. It holds a double.
class NoxVar
{
public:
    NoxVar() noexcept = default;
    NoxVar(double value) noexcept : value_(value) {}  // NOLINT(google-explicit-constructor): a double is a NoxVar
    double D() const noexcept { return value_; }

private:
    double value_ = 0.0;
};
