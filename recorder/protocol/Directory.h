#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace recorder
{

/// The directory's side of one question on a raw TCP connection. Questions carry no terminator, so that an end
/// can only be guessed: a name that is known ends the question at once, any other ends when nothing more comes.
class Directory
{
  public:
    /// A question beyond this size is refused.
    static constexpr size_t MAX_QUESTION_BYTES = 512;

    /// netId is the decimal number under which the recorder is found; aliases are further names, compared
    /// without regard to case.
    Directory(std::string netId, int channels, std::vector<std::string> aliases);

    enum class EStep { Wait, Reply, Refuse };
    struct Step {
        EStep step = EStep::Wait;
        std::string reply;  // with Reply only
    };
    /// What to do about the bytes that came so far. noMore tells that the sender has been quiet for a while or
    /// has closed its side. reachedAt is the address at which this connection found us: the answer to both
    /// questions.
    Step Ask(std::string_view soFar, bool noMore, uint32_t reachedAt) const;

  private:
    bool Knows(std::string_view name) const;

    std::string m_NetId;
    int m_Channels;
    std::vector<std::string> m_Aliases;
};

}  // namespace recorder
