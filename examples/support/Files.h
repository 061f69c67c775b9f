#pragma once

#include <NoxPointCloud.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace example {

/// A PCD file whose fields are four bytes wide and stored as "binary_compressed".
struct Pcd
{
    int width = 0;
    int height = 0;
    std::map<std::string, std::vector<std::uint32_t>> fields;  // the bits, one word a point

    /// The field as floats. @throws std::runtime_error when the file has no such field
    std::vector<float> floats(const std::string& name) const;
    /// The fields x, y and z as a cloud.
    NoxPointCloud cloud() const;
};

/// @throws std::runtime_error for a file that cannot be read or is not of that kind
Pcd readPcd(const std::filesystem::path& path);

/// Binary PLY: positions, and colours when the cloud has three or more bytes for each.
/// @throws std::runtime_error when the file cannot be written
void writePly(const std::filesystem::path& path, const NoxPointCloud& cloud);

}  // namespace example
