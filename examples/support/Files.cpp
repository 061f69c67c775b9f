#include "Files.h"

#include <lzf.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace example {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path, const std::string& what)
{
    throw std::runtime_error(path.string() + ": " + what);
}

template <class T>
void append(std::vector<char>& bytes, const T* values, std::size_t count)
{
    const char* first = reinterpret_cast<const char*>(values);
    bytes.insert(bytes.end(), first, first + count * sizeof(T));
}

}  // namespace

std::vector<float> Pcd::floats(const std::string& name) const
{
    const auto field = fields.find(name);
    if (field == fields.end()) throw std::runtime_error("no field " + name);
    std::vector<float> values(field->second.size());
    std::memcpy(values.data(), field->second.data(), values.size() * sizeof(float));
    return values;
}

NoxPointCloud Pcd::cloud() const
{
    const std::vector<float> x = floats("x"), y = floats("y"), z = floats("z");
    NoxVector3dArray points;
    points.SetSize(static_cast<int>(x.size()));
    for (std::size_t i = 0; i < x.size(); ++i) points.Replace(static_cast<int>(i), {x[i], y[i], z[i]});
    NoxPointCloud cloud;
    cloud.SetPoints(std::move(points));
    return cloud;
}

Pcd readPcd(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) fail(path, "cannot be opened");

    Pcd pcd;
    std::vector<std::string> names;
    std::string line, key, storage;
    while (key != "DATA" && std::getline(file, line)) {
        std::istringstream words(line);
        words >> key;
        if (key == "WIDTH") words >> pcd.width;
        if (key == "HEIGHT") words >> pcd.height;
        if (key == "DATA") words >> storage;
        if (key == "FIELDS") names.assign(std::istream_iterator<std::string>(words), {});
        for (std::string word; (key == "SIZE" || key == "COUNT") && words >> word;) {
            if (word != (key == "SIZE" ? "4" : "1")) fail(path, "has a field that is not four bytes wide");
        }
    }
    if (storage != "binary_compressed") fail(path, "is not binary_compressed");

    // Behind the header: two sizes, then one LZF block with the fields one after the other.
    std::uint32_t packedSize = 0, size = 0;
    file.read(reinterpret_cast<char*>(&packedSize), sizeof packedSize);
    file.read(reinterpret_cast<char*>(&size), sizeof size);
    const std::uint64_t count = static_cast<std::uint64_t>(pcd.width) * static_cast<std::uint64_t>(pcd.height);
    if (!file || names.empty() || pcd.width <= 0 || pcd.height <= 0 || count * names.size() * 4 != size ||
        packedSize > std::filesystem::file_size(path))
    {
        fail(path, "has sizes that contradict each other");
    }
    std::vector<char> packed(packedSize);
    std::vector<std::uint32_t> data(size / 4);
    file.read(packed.data(), packedSize);
    if (!file || lzf_decompress(packed.data(), packedSize, data.data(), size) != size) fail(path, "is damaged");

    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::uint32_t* first = data.data() + i * count;
        pcd.fields[names[i]].assign(first, first + count);
    }
    return pcd;
}

void writePly(const std::filesystem::path& path, const NoxPointCloud& cloud)
{
    const NoxColorArray colors = cloud.DeepCopyColors();
    const std::size_t channels = static_cast<std::size_t>(colors.Channel());
    const bool colored = colors.Length() == cloud.Length() && channels >= 3;

    std::ofstream file(path, std::ios::binary);
    file << "ply\nformat binary_little_endian 1.0\nelement vertex " << cloud.Length()
         << "\nproperty float x\nproperty float y\nproperty float z\n"
         << (colored ? "property uchar red\nproperty uchar green\nproperty uchar blue\n" : "") << "end_header\n";
    std::vector<char> bytes;
    for (std::size_t i = 0; i < static_cast<std::size_t>(cloud.Length()); ++i) {
        append(bytes, cloud.PointData() + 3 * i, 3);
        if (colored) append(bytes, colors.Data() + channels * i, 3);
    }
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) fail(path, "cannot be written");
}

}  // namespace example
