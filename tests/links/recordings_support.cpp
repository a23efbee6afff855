#include "tests/links/recordings_support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "recorder/scene/Mark.h"
#include "tests/support/process.h"
#include "tests/support/test_folder.h"

ProbedFile ProbeFile(const std::string& path)
{
    const Outcome outcome = Execute(
        "ffprobe -v quiet -count_packets -select_streams v:0 -show_entries "
        "stream=codec_name,width,height,r_frame_rate,nb_read_packets -of csv=p=0 " +
        Quoted(path));
    ProbedFile probed;
    std::string line = outcome.output;
    std::ranges::replace(line, ',', ' ');
    std::istringstream fields(line);
    probed.opens =
        outcome.status == 0 && fields >> probed.codec >> probed.width >> probed.height >> probed.rate;
    fields >> probed.packets;
    return probed;
}

std::vector<std::optional<std::uint32_t>> DecodeNumbers(const std::string& path, std::int32_t width,
                                                        std::int32_t height, std::string& complaints)
{
    const CTestFolder folder;
    const std::string raw = folder.Path("pictures.yuv");
    complaints = Execute("ffmpeg -v error -nostdin -i " + Quoted(path) +
                         " -fps_mode passthrough -f rawvideo -pix_fmt yuv420p " + Quoted(raw))
                     .output;
    std::vector<std::optional<std::uint32_t>> numbers;
    std::ifstream file(raw, std::ios::binary);
    recorder::Picture picture;
    picture.Resize(width, height);
    const auto read = [&file](std::vector<std::uint8_t>& plane) {
        return static_cast<bool>(
            file.read(reinterpret_cast<char*>(plane.data()), static_cast<std::streamsize>(plane.size())));
    };
    while (read(picture.y) && read(picture.u) && read(picture.v)) {
        const auto mark = recorder::ReadMark(picture);
        numbers.push_back(mark ? std::optional(mark->picture) : std::nullopt);
    }
    return numbers;
}

std::vector<std::string> FindRecordings(const std::string& folder)
{
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error))
        if (entry.path().extension() == ".avi") files.push_back(entry.path().string());
    std::ranges::sort(files);
    return files;
}
