// Arbitrary bytes as a layout file, and as a tree of nodes with stations and devices. What was read is written
// and read again: from the second time on the text must stay the same. And the look at the depth ahead of the
// parser must never find less than the parser does.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <rapidxml/rapidxml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "model/archive/XMLInputArchive.h"
#include "model/archive/XMLOutputArchive.h"
#include "model/archive/XmlDepth.h"
#include "model/layout/LayoutRecords.h"
#include "model/tree/Folder.h"
#include "remote/RemoteClasses.h"

namespace
{

void Require(bool condition)
{
    if (!condition) std::abort();
}

struct AllRecords {
    XMainWnd main;
    XRenderWnd render;
    CFolder root;

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("m_XMainWnd", main) & Named("m_XRenderWnd", render) & Named("root", root);
    }
};

void Read(std::string_view text, AllRecords& everything)
{
    XMLInputArchive archive(text, "fuzz");
    everything.Serialize(archive);
}

std::string Write(AllRecords& everything)
{
    XMLOutputArchive archive;
    everything.Serialize(archive);
    return archive.GetText();
}

int DepthOf(const rapidxml::xml_node<>& node)
{
    int depth = 0;
    for (const auto* child = node.first_node(); child; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) depth = std::max(depth, 1 + DepthOf(*child));
    }
    return depth;
}

void CheckDepth(std::string_view text)
{
    const int depth = GetXmlDepth(text, XMLInputArchive::MAX_DEPTH);
    if (depth > XMLInputArchive::MAX_DEPTH) return;
    std::vector<char> copy(text.begin(), text.end());
    copy.push_back('\0');
    rapidxml::xml_document<> document;
    try {
        document.parse<rapidxml::parse_default>(copy.data());
    } catch (const rapidxml::parse_error&) {
        return;
    }
    Require(DepthOf(document) <= depth);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    RegisterRemoteClasses();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    CheckDepth(text);
    AllRecords first;
    try {
        Read(text, first);
    } catch (const std::exception&) {
        Write(first);  // what was read so far stands and can be written
        return 0;
    }
    const std::string written = Write(first);
    if (written.find('\0') != std::string::npos) return 0;  // a zero byte in a text ends the file
    AllRecords second;
    Read(written, second);
    const std::string settled = Write(second);
    AllRecords third;
    Read(settled, third);
    Require(Write(third) == settled);
    return 0;
}
