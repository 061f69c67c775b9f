#pragma once

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_reduce.h>
#include <oneapi/tbb/partitioner.h>
#include <oneapi/tbb/task_group.h>

#include <algorithm>
#include <cstddef>

namespace nox {

/// Grain of a loop over n rows or points that is to be cut into `pieces`; with 0 pieces or less a single row or point.
inline std::size_t grain(std::size_t n, int pieces)
{
    return pieces > 0 ? std::max<std::size_t>(1, n / static_cast<std::size_t>(pieces)) : 1;
}

/// A group of tasks of its own: a caller's cancelled group does not stop it, and the workers take the floating-point
/// settings of the thread that makes it.
class LoopContext
{
public:
    operator tbb::task_group_context&() { return context_; }  // NOLINT(google-explicit-constructor)

private:
    tbb::task_group_context context_{tbb::task_group_context::isolated, tbb::task_group_context::fp_settings};
};

template <class Range, class Body>
void parallelFor(const Range& range, const Body& body)
{
    LoopContext context;
    tbb::parallel_for(range, body, tbb::auto_partitioner(), context);
}

/// The body must have a `join` that throws nothing: an exception there would leave the loop waiting for ever.
template <class Range, class Body>
void parallelReduce(const Range& range, Body& body)
{
    LoopContext context;
    tbb::task_group_context& group = context;  // named: parallel_reduce has a form that would take the object itself
    tbb::parallel_reduce(range, body, tbb::auto_partitioner(), group);
}

/// Rows 0 to n in the project's one kind of row loop.
template <class Body>
void forRows(int rows, int pieces, const Body& body)
{
    const auto n = static_cast<std::size_t>(std::max(rows, 0));
    parallelFor(tbb::blocked_range<std::size_t>(0, n, grain(n, pieces)), body);
}

}  // namespace nox
