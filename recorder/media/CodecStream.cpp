#include "recorder/media/CodecStream.h"

#include <algorithm>

namespace recorder
{

void XChannelCounts::Add(const XCoded& coded)
{
    ++m_ulPictures;
    m_ulKeys += coded.m_bKey ? 1 : 0;
    m_ulBytes += coded.m_Bytes.size();
    m_ulLargest = std::max<uint64_t>(m_ulLargest, coded.m_Bytes.size());
    m_iQuant = coded.m_iQuant;
}

namespace
{

class CMpeg4Stream : public ICodecStream
{
  public:
    explicit CMpeg4Stream(const XStreamSetup& setup)
        : m_Setup(setup), m_Rate(setup.m_iBitRate, setup.m_iRate, setup.m_iGroup, setup.m_ulMaxBytes)
    {
    }

    std::shared_ptr<const XCoded> Make(const XPicture& picture, int64_t iPicture, bool bKey) override;
    void Restart() override { m_pEncoder.reset(); }
    const XChannelCounts& Counts() const override { return m_Counts; }

  private:
    XStreamSetup m_Setup;
    std::unique_ptr<CMpeg4Encoder> m_pEncoder;
    CRateControl m_Rate;
    XChannelCounts m_Counts;
    int64_t m_iFirst = 0;  // the stream's time begins here
    int64_t m_iNextKey = 0;
};

std::shared_ptr<const XCoded> CMpeg4Stream::Make(const XPicture& picture, int64_t iPicture, bool bKey)
{
    if (!m_pEncoder) {
        m_pEncoder = std::make_unique<CMpeg4Encoder>(picture.m_iWidth, picture.m_iHeight, m_Setup.m_iRate,
                                                     m_Setup.m_Motion);
        m_iFirst = iPicture;
        m_iNextKey = iPicture;
    }
    const bool key = bKey || iPicture >= m_iNextKey;
    int quant = m_Rate.Quant(key);
    auto coded = std::make_shared<XCoded>(m_pEncoder->Encode(picture, iPicture - m_iFirst, key, quant));
    if (coded->m_Bytes.size() > m_Setup.m_ulMaxBytes) {
        // A key picture replaces what the encoder took as its reference.
        ++m_Counts.m_ulCoarser;
        while (coded->m_Bytes.size() > m_Setup.m_ulMaxBytes && quant < CRateControl::MAX_QUANT) {
            quant = std::min(CRateControl::MAX_QUANT, quant + std::max(2, quant / 2));
            *coded = m_pEncoder->Encode(picture, iPicture - m_iFirst, true, quant);
        }
    }
    m_Rate.Coded(coded->m_bKey, coded->m_iQuant, std::min(coded->m_Bytes.size(), m_Setup.m_ulMaxBytes));
    if (coded->m_Bytes.size() > m_Setup.m_ulMaxBytes) {
        ++m_Counts.m_ulTooLarge;
        m_iNextKey = iPicture + 1;
        return nullptr;
    }
    if (coded->m_bKey) m_iNextKey = iPicture + m_Setup.m_iGroup;
    m_Counts.Add(*coded);
    return coded;
}

// The encoder keeps its rate by itself.
class CH264Stream : public ICodecStream
{
  public:
    explicit CH264Stream(const XStreamSetup& setup) : m_Setup(setup) {}

    std::shared_ptr<const XCoded> Make(const XPicture& picture, int64_t iPicture, bool bKey) override
    {
        if (!m_pEncoder) {
            m_pEncoder = std::make_unique<CH264Encoder>(
                XH264Setup{picture.m_iWidth, picture.m_iHeight, m_Setup.m_iRate, m_Setup.m_iBitRate,
                           m_Setup.m_iGroup, m_Setup.m_Entropy, m_Setup.m_Checksum, m_Setup.m_strPreset});
            m_iFirst = iPicture;
        }
        auto coded = std::make_shared<const XCoded>(
            m_pEncoder->Encode(picture, iPicture - m_iFirst, bKey || m_bOwesKey));
        m_bOwesKey = coded->m_Bytes.size() > MAX_H264_BYTES;
        if (m_bOwesKey) {
            ++m_Counts.m_ulTooLarge;
            return nullptr;
        }
        m_Counts.Add(*coded);
        return coded;
    }
    void Restart() override { m_pEncoder.reset(); }
    const XChannelCounts& Counts() const override { return m_Counts; }

  private:
    XStreamSetup m_Setup;
    std::unique_ptr<CH264Encoder> m_pEncoder;
    XChannelCounts m_Counts;
    int64_t m_iFirst = 0;
    bool m_bOwesKey = false;  // a picture was left out
};

}  // namespace

std::unique_ptr<ICodecStream> MakeCodecStream(ECodec codec, const XStreamSetup& setup)
{
    if (codec == ECodec::H264) return std::make_unique<CH264Stream>(setup);
    return std::make_unique<CMpeg4Stream>(setup);
}

}  // namespace recorder
