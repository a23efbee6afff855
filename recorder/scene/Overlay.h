#pragma once

#include <map>
#include <memory>
#include <string>

#include "recorder/scene/Scene.h"
#include "recorder/scene/Surface.h"

namespace recorder
{

// Name and clock of a channel. Their letters are drawn once, with a dark rim, and laid over each picture.
class CTextOverlay
{
  public:
    CTextOverlay(const XSceneSetup& setup, int iChannel);
    // A note, which is rare, stands below the name.
    void Draw(cairo_t* pContext, int64_t iPicture, const std::string& note = {}) const;

  private:
    // A drawn text: to be laid with its upper left corner m_iRim before and m_iAscent above its baseline's
    // start.
    struct XSprite {
        std::unique_ptr<CSurface> m_pSurface;
        int m_iAdvance = 0;
    };
    XSprite MakeSprite(const std::string& text) const;
    void Lay(cairo_t* pContext, const XSprite& sprite, int iX, int iBaseline) const;

    XSceneSetup m_Setup;
    int m_iSize;
    int m_iRim;
    int m_iAscent;
    XSprite m_Name;
    std::map<char, XSprite> m_Clock;  // by character
};

}  // namespace recorder
