#include "tests/support/test_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

TestPicture CopyPicture(const CodecFrame& frame)
{
    TestPicture picture;
    picture.width = frame.width;
    picture.height = frame.height;
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? frame.width : frame.width / 2;
        const int height = plane == 0 ? frame.height : frame.height / 2;
        const int stride = frame.linesize[plane == 0 ? 0 : 1];
        for (int row = 0; row < height; ++row) {
            const uint8_t* const from = frame.data[plane] + static_cast<ptrdiff_t>(row) * stride;
            picture.plane[plane].insert(picture.plane[plane].end(), from, from + width);
        }
    }
    return picture;
}

PictureDifference ComparePlane(const TestPicture& a, const TestPicture& b, int plane)
{
    PictureDifference difference;
    const std::vector<uint8_t>& left = a.plane[plane];
    const std::vector<uint8_t>& right = b.plane[plane];
    if (left.size() != right.size() || left.empty()) throw std::runtime_error("planes of different size");
    double squares = 0;
    for (size_t i = 0; i < left.size(); ++i) {
        const int off = std::abs(left[i] - right[i]);
        difference.largest = std::max(difference.largest, off);
        squares += off * off;
    }
    if (squares > 0)
        difference.psnr = 10 * std::log10(255.0 * 255.0 * static_cast<double>(left.size()) / squares);
    return difference;
}

std::string DescribeDifference(const TestPicture& found, const TestPicture& expected)
{
    if (found.width != expected.width || found.height != expected.height) return "the sizes differ";
    for (int plane = 0; plane < 3; ++plane) {
        const std::vector<uint8_t>& left = found.plane[plane];
        const std::vector<uint8_t>& right = expected.plane[plane];
        const auto at = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
        if (at.first == left.end() && at.second == right.end()) continue;
        const auto offset = static_cast<int>(at.first - left.begin());
        const int width = plane == 0 ? found.width : found.width / 2;
        return "plane " + std::to_string(plane) + ", x " + std::to_string(offset % width) + ", y " +
               std::to_string(offset / width) + ": " + std::to_string(*at.first) + " for " +
               std::to_string(*at.second);
    }
    return {};
}

uint32_t SumOf(const TestPicture& picture)
{
    uint32_t low = 0;
    uint32_t high = 0;
    for (const auto& plane : picture.plane) {
        for (uint8_t sample : plane) {
            low = (low + sample) % 65521;
            high = (high + low) % 65521;
        }
    }
    return high << 16 | low;
}

std::vector<uint32_t> ReadSums(const std::string& path)
{
    std::vector<uint32_t> sums;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) continue;
        sums.push_back(static_cast<uint32_t>(std::stoul(line.substr(line.rfind(',') + 1), nullptr, 16)));
    }
    return sums;
}
