#include "model/archive/XMLInputArchive.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_utils.hpp>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "model/ModelClasses.h"
#include "model/archive/XmlDepth.h"
#include "platform/os/paths.h"

// The parser works inside the loaded text, so the file lives as long as the document.
struct InputDocument {
    std::unique_ptr<rapidxml::file<>> file;
    rapidxml::xml_document<> document;
    rapidxml::xml_node<>* element = nullptr;  // the current one
};

namespace
{

constexpr const char* ITEM = "item";

std::unique_ptr<rapidxml::file<>> LoadFile(const std::string& filename)
{
    const std::string host = HostPath(filename);
    // A folder can be opened like a file, too, but has no content to load.
    std::error_code error;
    if (!std::filesystem::is_regular_file(host, error))
        throw std::runtime_error("cannot open file " + filename);
    try {
        return std::make_unique<rapidxml::file<>>(host.c_str());
    } catch (const std::exception&) {
        throw std::runtime_error("cannot open file " + filename);  // with the name that the caller knows
    }
}

std::unique_ptr<rapidxml::file<>> LoadText(std::string_view text)
{
    std::istringstream stream{std::string(text)};
    return std::make_unique<rapidxml::file<>>(stream);
}

// The parser's error, told with file and line.
class CParseError final : public rapidxml::parse_error
{
  public:
    CParseError(const parse_error& error, const std::string& name, std::ptrdiff_t line)
        : parse_error(error.what(), error.where<char>()),
          m_strWhat(name + ", line " + std::to_string(line) + ": " + error.what())
    {
    }
    const char* what() const noexcept override { return m_strWhat.c_str(); }

  private:
    std::string m_strWhat;
};

std::unique_ptr<InputDocument> Parse(std::unique_ptr<rapidxml::file<>> file, const std::string& name)
{
    auto document = std::make_unique<InputDocument>();
    document->file = std::move(file);
    const std::string_view text(document->file->data(), document->file->size() - 1);
    if (GetXmlDepth(text, XMLInputArchive::MAX_DEPTH) > XMLInputArchive::MAX_DEPTH) {
        throw std::runtime_error("elements nested deeper than " + std::to_string(XMLInputArchive::MAX_DEPTH) +
                                 " in " + name);
    }
    const std::string original(text);  // the parser writes into the file's
    try {
        document->document.parse<rapidxml::parse_default>(document->file->data());
    } catch (const rapidxml::parse_error& error) {
        const std::ptrdiff_t at = error.where<char>() - document->file->data();
        throw CParseError(error, name, 1 + std::count(original.begin(), original.begin() + at, '\n'));
    }
    document->element = document->document.first_node();
    if (document->element == nullptr) throw std::runtime_error("no element in " + name);
    return document;
}

// Reads the number that begins the text; the value stays when none does or it doesn't fit.
template <class T>
void ReadNumber(std::string_view text, T& value)
{
    while (!text.empty() && (text.front() == ' ' || (text.front() >= '\t' && text.front() <= '\r'))) {
        text.remove_prefix(1);
    }
    if (text.starts_with('+')) text.remove_prefix(1);
    T number{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec == std::errc{}) value = number;
}

}  // namespace

XMLInputArchive::XMLInputArchive(const std::string& filename)
    : m_strFile(filename), m_pDocument(Parse(LoadFile(filename), filename))
{
    RegisterModelClasses();
}

XMLInputArchive::XMLInputArchive(std::string_view text, const std::string& name)
    : m_strFile(name), m_pDocument(Parse(LoadText(text), name))
{
    RegisterModelClasses();
}

XMLInputArchive::~XMLInputArchive() = default;

void* XMLInputArchive::GetElement() const
{
    return m_pDocument->element;
}

void XMLInputArchive::SetElement(void* element)
{
    m_pDocument->element = static_cast<rapidxml::xml_node<>*>(element);
}

bool XMLInputArchive::EnterChild(const char* name)
{
    const auto* const element = m_pDocument->element;
    auto* const child = element ? element->first_node(name) : nullptr;
    if (!child) return false;
    m_pDocument->element = child;
    NoteClassName();
    return true;
}

bool XMLInputArchive::EnterFirstItem()
{
    return EnterChild(ITEM);
}

bool XMLInputArchive::EnterNextItem()
{
    auto* const sibling = m_pDocument->element->next_sibling(ITEM);
    if (!sibling) return false;
    m_pDocument->element = sibling;
    NoteClassName();
    return true;
}

// Only the first attribute is looked at: a `classname` in a later place isn't seen.
void XMLInputArchive::NoteClassName()
{
    const auto* const attribute = m_pDocument->element->first_attribute();
    if (!attribute || std::string_view(attribute->name(), attribute->name_size()) != "classname") return;
    m_strClassName.assign(attribute->value(), attribute->value_size());
}

bool XMLInputArchive::HasChild() const
{
    return m_pDocument->element->first_node() != nullptr;
}

std::string_view XMLInputArchive::GetValue() const
{
    return {m_pDocument->element->value(), m_pDocument->element->value_size()};
}

const IFactory& XMLInputArchive::GetFactory(const std::type_info& root) const
{
    const IFactory* const factory = FindFactoryByClassName(m_strClassName);
    if (!factory) throw std::runtime_error("no class named \"" + m_strClassName + "\" for " + m_strFile);
    if (factory->GetRootType() != root) {
        throw std::runtime_error("class \"" + m_strClassName + "\" in a list of " +
                                 GetBareClassName(GetRuntimeTypeName(root)) + " in " + m_strFile);
    }
    return *factory;
}

void XMLInputArchive::Read(std::int32_t& value)
{
    if (HasChild()) ReadNumber(GetValue(), value);
}

void XMLInputArchive::Read(std::uint32_t& value)
{
    if (HasChild()) ReadNumber(GetValue(), value);
}

void XMLInputArchive::Read(std::int64_t& value)
{
    if (HasChild()) ReadNumber(GetValue(), value);
}

void XMLInputArchive::Read(bool& value)
{
    if (!HasChild()) return;
    const std::string_view text = GetValue();
    value = text == "True" || text == "true" || text == "TRUE";
}

void XMLInputArchive::Read(std::string& value)
{
    if (HasChild()) value = GetValue();
}

bool XMLInputArchive::ReadBits(std::string_view& bits, std::size_t count) const
{
    if (!HasChild()) return false;
    bits = GetValue().substr(0, count);
    if (bits.find_first_not_of("01") != std::string_view::npos)
        throw std::invalid_argument("invalid bitset<N> char");
    return true;
}
