#pragma once

#include <map>
#include <memory>
#include <string>

#include "recorder/scene/Scene.h"
#include "recorder/scene/Surface.h"

namespace recorder
{

/// Name and clock of a channel. Their letters are drawn once, with a dark rim, and laid over each picture.
class TextOverlay
{
  public:
    TextOverlay(const SceneSetup& setup, int channel);
    /// A note, which is rare, stands below the name.
    void Draw(cairo_t* context, int64_t picture, const std::string& note = {}) const;

  private:
    // A drawn text: to be laid with its upper left corner m_Rim before and m_Ascent above its baseline's
    // start.
    struct Sprite {
        std::unique_ptr<Surface> surface;
        int advance = 0;
    };
    Sprite MakeSprite(const std::string& text) const;
    void Lay(cairo_t* context, const Sprite& sprite, int left, int baseline) const;

    SceneSetup m_Setup;
    int m_Size;
    int m_Rim;
    int m_Ascent;
    Sprite m_Name;
    std::map<char, Sprite> m_Clock;  // by character
};

}  // namespace recorder
