#pragma once

#include <cstddef>
#include <cstdint>

namespace recorder
{

// Chooses a quantiser for each picture so that a stream keeps its bit rate over some groups of pictures. It
// takes the bytes of a picture as inverse to its quantiser, learns the factor for key and for other pictures,
// and shares the bits of a group among them.
class CRateControl
{
  public:
    static constexpr int MIN_QUANT = 2;
    static constexpr int MAX_QUANT = 31;

    // Bits a second, pictures a second, pictures from key to key, bytes that a picture may have at most.
    CRateControl(int64_t iBitRate, int iRate, int iGroup, size_t ulMaxBytes);

    int Quant(bool bKey) const;
    // What the picture became with the quantiser it was coded with.
    void Coded(bool bKey, int iQuant, size_t ulBytes);

  private:
    double m_dGroupBits;
    double m_dPictureBits;
    int m_iGroup;
    double m_dMaxBits;
    double m_dKeyFactor = 0;  // bits times quantiser; 0 before the first
    double m_dFactor = 0;
    double m_dDebt = 0;  // bits sent above the rate
};

}  // namespace recorder
