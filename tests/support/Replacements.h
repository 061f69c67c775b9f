#pragma once

#include <atomic>
#include <string>
#include <vector>

/// The three replaceable libraries as the tests see them: this program defines their functions itself.
namespace replaced {

/// What the memory query answers and how often it was asked.
struct Memory
{
    static std::atomic<unsigned long long> available;  ///< unlimited by default
    static std::atomic<int> queries;
};

/// While it lives the memory query answers `available` and counts from 0.
class MemoryScope
{
public:
    explicit MemoryScope(unsigned long long available);
    ~MemoryScope();
    MemoryScope(const MemoryScope&) = delete;
    MemoryScope& operator=(const MemoryScope&) = delete;
    int queries() const { return Memory::queries; }
};

/// While it lives the records of the logger are kept as "function: message"; `throwing` makes each `Log` throw.
class LogScope
{
public:
    explicit LogScope(bool throwing = false);
    ~LogScope();
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;
    const std::vector<std::string>& records() const { return records_; }
    void add(const char* message, const char* module, const char* function);

private:
    std::vector<std::string> records_;
    bool throwing_;
};

}  // namespace replaced
