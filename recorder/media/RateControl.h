#pragma once

#include <cstddef>
#include <cstdint>

namespace recorder
{

/// Chooses a quantiser for each picture so that a stream keeps its bit rate over some groups of pictures. It
/// takes the bytes of a picture as inverse to its quantiser, learns the factor for key and for other pictures,
/// and shares the bits of a group among them.
class RateControl
{
  public:
    static constexpr int MIN_QUANT = 2;
    static constexpr int MAX_QUANT = 31;

    /// Bits a second, pictures a second, pictures from key to key, bytes that a picture may have at most.
    RateControl(int64_t bitRate, int rate, int group, size_t maxBytes);

    int Quant(bool key) const;
    /// What the picture became with the quantiser it was coded with.
    void Coded(bool key, int quant, size_t bytes);

  private:
    double m_GroupBits;
    double m_PictureBits;
    int m_Group;
    double m_MaxBits;
    double m_KeyFactor = 0;  // bits times quantiser; 0 before the first
    double m_Factor = 0;
    double m_Debt = 0;  // bits sent above the rate
};

}  // namespace recorder
