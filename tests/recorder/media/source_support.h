#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include "recorder/media/Source.h"

namespace recorder
{

inline const std::atomic<bool> NEVER_STOP = false;

// 352x288 with its mark.
inline SceneSetup SourceScene()
{
    SceneSetup scene;
    scene.width = 352;
    scene.height = 288;
    scene.clockStart = ParseClock("2026-11-21 08:40:12");
    scene.mark = true;
    return scene;
}

// What ffmpeg makes of a blue picture, 25 of them a second, with these arguments for the file.
inline void WriteBlueFilm(const std::string& file, const std::string& arguments)
{
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i color=c=blue:s=64x48:r=25 " + arguments + " " + file;
    ASSERT_EQ(std::system(command.c_str()), 0);
}

inline void ExpectBlueSixTimes(ISource& source)
{
    Picture picture;
    for (int i = 0; i < 60; ++i) {  // six times its length
        source.Read(i, picture);
        ASSERT_NEAR(picture.y[static_cast<size_t>(144 * 352 + 176)], 41, 6) << "picture " << i;
        ASSERT_NEAR(picture.u[static_cast<size_t>(72 * 176 + 88)], 240, 6) << "a notice is grey; picture " << i;
    }
}

}  // namespace recorder
