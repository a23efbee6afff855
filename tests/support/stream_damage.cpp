#include "tests/support/stream_damage.h"

#include <algorithm>

const std::vector<StreamDamage>& StreamDamages()
{
    static const std::vector<StreamDamage> damages = {
        {"FlippedBits",
         [](std::vector<uint8_t>* p, std::mt19937* r) {
             for (int i = 0; i < 6; ++i)
                 (*p)[(*r)() % p->size()] ^= static_cast<uint8_t>(1u << (*r)() % 8);
         }},
        {"RandomBytes",
         [](std::vector<uint8_t>* p, std::mt19937* r) {
             for (size_t i = 0; i < p->size() / 10; ++i)
                 (*p)[(*r)() % p->size()] = static_cast<uint8_t>((*r)());
         }},
        {"CutShort", [](std::vector<uint8_t>* p, std::mt19937* r) { p->resize((*r)() % p->size()); }},
        {"LostMiddle",
         [](std::vector<uint8_t>* p, std::mt19937* r) {
             const size_t at = (*r)() % p->size();
             p->erase(p->begin() + static_cast<ptrdiff_t>(at),
                      p->begin() + static_cast<ptrdiff_t>(std::min(p->size(), at + 40)));
         }},
        {"ZeroTail",
         [](std::vector<uint8_t>* p, std::mt19937* r) {
             std::fill(p->begin() + static_cast<ptrdiff_t>((*r)() % p->size()), p->end(), 0);
         }},
        {"OneTail",
         [](std::vector<uint8_t>* p, std::mt19937* r) {
             std::fill(p->begin() + static_cast<ptrdiff_t>((*r)() % p->size()), p->end(), 0xFF);
         }},
    };
    return damages;
}
