#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codec/codec.h"

// Decoded pictures as the tests compare them.

/// Three tight planes.
struct TestPicture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> plane[3 /* Y, U, V */];
    bool operator==(const TestPicture&) const = default;
};

TestPicture CopyPicture(const CodecFrame& frame);

/// Largest difference of two samples of a plane, and the plane's PSNR in dB (99 when they are the same).
struct PictureDifference {
    int largest = 0;
    double psnr = 99;
};
PictureDifference ComparePlane(const TestPicture& a, const TestPicture& b, int plane);

/// Empty when two pictures are the same, otherwise the first plane and sample that differ.
std::string DescribeDifference(const TestPicture& found, const TestPicture& expected);

/// Adler-32 over the three planes, starting at 0 as ffmpeg's framecrc does.
uint32_t SumOf(const TestPicture& picture);

/// The sums of a framecrc file: the last column of each line that isn't a comment.
std::vector<uint32_t> ReadSums(const std::string& path);
