#include <NoxPlatform.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>

namespace {

using Bytes = unsigned long long;
constexpr Bytes kUnlimited = std::numeric_limits<Bytes>::max();

/// The number behind `key` in a file of "key number" lines; `otherwise` when there is none.
Bytes valueOf(const std::string& file, const std::string& key, Bytes otherwise)
{
    std::ifstream in(file);
    std::string word;
    Bytes value = 0;
    while (in >> word) {
        if (word == key && in >> value) return value;
        in.clear();
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return otherwise;
}

/// The number that a file holds alone; `otherwise` when it holds a word such as "max".
Bytes valueIn(const std::string& file, Bytes otherwise)
{
    std::ifstream in(file);
    Bytes value = 0;
    return in >> value ? value : otherwise;
}

/// What a memory group leaves: its limit less what it uses, page cache that can be dropped not counted as used.
Bytes leftIn(const std::string& group, const char* limitFile, const char* usageFile, const char* cacheKey)
{
    const Bytes limit = valueIn(group + limitFile, kUnlimited);
    if (limit == kUnlimited) return kUnlimited;
    const Bytes used = valueIn(group + usageFile, 0);
    const Bytes cache = std::min(used, valueOf(group + "/memory.stat", cacheKey, 0));
    return limit > used - cache ? limit - (used - cache) : 0;
}

/// The path of this process's group in a line "id:controllers:path" of /proc/self/cgroup.
std::string groupPath(const std::string& controllers)
{
    std::ifstream in("/proc/self/cgroup");
    std::string line;
    while (std::getline(in, line)) {
        const auto first = line.find(':');
        const auto second = line.find(':', first + 1);
        if (second != std::string::npos && line.substr(first + 1, second - first - 1) == controllers)
            return line.substr(second + 1);
    }
    return {};
}

/// The least that the group at `path` or a group above it leaves; each of them may carry the limit.
Bytes leftAlong(const std::string& mount, std::string path, const char* limitFile, const char* usageFile,
                const char* cacheKey)
{
    Bytes left = leftIn(mount, limitFile, usageFile, cacheKey);
    while (path.size() > 1) {
        left = std::min(left, leftIn(mount + path, limitFile, usageFile, cacheKey));
        path.resize(path.find_last_of('/'));
    }
    return left;
}

}  // namespace

namespace NOXEL {

unsigned long long NoxAvailablePhysicalMemory()
{
    const Bytes system = valueOf("/proc/meminfo", "MemAvailable:", 0) * 1024;
    const Bytes unified = leftAlong("/sys/fs/cgroup", groupPath(""), "/memory.max", "/memory.current", "inactive_file");
    const Bytes legacy = leftAlong("/sys/fs/cgroup/memory", groupPath("memory"), "/memory.limit_in_bytes",
                                   "/memory.usage_in_bytes", "total_inactive_file");
    return std::min({system, unified, legacy});
}

}  // namespace NOXEL
