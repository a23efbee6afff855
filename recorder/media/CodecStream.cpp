#include "recorder/media/CodecStream.h"

#include <algorithm>

namespace recorder
{

void ChannelCounts::Add(const Coded& coded)
{
    ++pictures;
    keys += coded.key ? 1 : 0;
    bytes += coded.bytes.size();
    largest = std::max<uint64_t>(largest, coded.bytes.size());
    quant = coded.quant;
}

namespace
{

class Mpeg4Stream : public ICodecStream
{
  public:
    explicit Mpeg4Stream(const StreamSetup& setup)
        : m_Setup(setup), m_Rate(setup.bitRate, setup.rate, setup.group, setup.maxBytes)
    {
    }

    std::shared_ptr<const Coded> Make(const Picture& picture, int64_t pictureNumber, bool isKey) override;
    void Restart() override { m_Encoder.reset(); }
    const ChannelCounts& Counts() const override { return m_Counts; }

  private:
    StreamSetup m_Setup;
    std::unique_ptr<Mpeg4Encoder> m_Encoder;
    RateControl m_Rate;
    ChannelCounts m_Counts;
    int64_t m_First = 0;  // the stream's time begins here
    int64_t m_NextKey = 0;
};

std::shared_ptr<const Coded> Mpeg4Stream::Make(const Picture& picture, int64_t pictureNumber, bool isKey)
{
    if (!m_Encoder) {
        m_Encoder = std::make_unique<Mpeg4Encoder>(picture.width, picture.height, m_Setup.rate, m_Setup.motion);
        m_First = pictureNumber;
        m_NextKey = pictureNumber;
    }
    const bool key = isKey || pictureNumber >= m_NextKey;
    int quant = m_Rate.Quant(key);
    auto coded = std::make_shared<Coded>(m_Encoder->Encode(picture, pictureNumber - m_First, key, quant));
    if (coded->bytes.size() > m_Setup.maxBytes) {
        // A key picture replaces what the encoder took as its reference.
        ++m_Counts.coarser;
        while (coded->bytes.size() > m_Setup.maxBytes && quant < RateControl::MAX_QUANT) {
            quant = std::min(RateControl::MAX_QUANT, quant + std::max(2, quant / 2));
            *coded = m_Encoder->Encode(picture, pictureNumber - m_First, true, quant);
        }
    }
    m_Rate.Coded(coded->key, coded->quant, std::min(coded->bytes.size(), m_Setup.maxBytes));
    if (coded->bytes.size() > m_Setup.maxBytes) {
        ++m_Counts.tooLarge;
        m_NextKey = pictureNumber + 1;
        return nullptr;
    }
    if (coded->key) m_NextKey = pictureNumber + m_Setup.group;
    m_Counts.Add(*coded);
    return coded;
}

// The encoder keeps its rate by itself.
class H264Stream : public ICodecStream
{
  public:
    explicit H264Stream(const StreamSetup& setup) : m_Setup(setup) {}

    std::shared_ptr<const Coded> Make(const Picture& picture, int64_t pictureNumber, bool key) override
    {
        if (!m_Encoder) {
            m_Encoder = std::make_unique<H264Encoder>(H264Setup{picture.width, picture.height, m_Setup.rate,
                                                                m_Setup.bitRate, m_Setup.group, m_Setup.entropy,
                                                                m_Setup.checksum, m_Setup.preset});
            m_First = pictureNumber;
        }
        auto coded = std::make_shared<const Coded>(
            m_Encoder->Encode(picture, pictureNumber - m_First, key || m_OwesKey));
        m_OwesKey = coded->bytes.size() > MAX_H264_BYTES;
        if (m_OwesKey) {
            ++m_Counts.tooLarge;
            return nullptr;
        }
        m_Counts.Add(*coded);
        return coded;
    }
    void Restart() override { m_Encoder.reset(); }
    const ChannelCounts& Counts() const override { return m_Counts; }

  private:
    StreamSetup m_Setup;
    std::unique_ptr<H264Encoder> m_Encoder;
    ChannelCounts m_Counts;
    int64_t m_First = 0;
    bool m_OwesKey = false;  // a picture was left out
};

}  // namespace

std::unique_ptr<ICodecStream> MakeCodecStream(ECodec codec, const StreamSetup& setup)
{
    if (codec == ECodec::H264) return std::make_unique<H264Stream>(setup);
    return std::make_unique<Mpeg4Stream>(setup);
}

}  // namespace recorder
