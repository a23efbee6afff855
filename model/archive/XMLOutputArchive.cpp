#include "model/archive/XMLOutputArchive.h"

#include <fstream>
#include <iterator>
#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_print.hpp>
#include <stdexcept>

#include "model/ModelClasses.h"
#include "platform/os/paths.h"

struct OutputDocument {
    rapidxml::xml_document<> document;
    rapidxml::xml_node<>* element = nullptr;  // the current one

    char* Copy(std::string_view text)
    {
        // The document's pool takes a size of 0 for "measure it", so an empty text needs its terminator.
        return text.empty() ? document.allocate_string("", 1)
                            : document.allocate_string(text.data(), text.size());
    }
};

XMLOutputArchive::XMLOutputArchive() : m_pDocument(std::make_unique<OutputDocument>())
{
    RegisterModelClasses();
    m_pDocument->element = m_pDocument->document.allocate_node(rapidxml::node_element, "config");
    m_pDocument->document.append_node(m_pDocument->element);
}

XMLOutputArchive::~XMLOutputArchive() = default;

void* XMLOutputArchive::BeginElement(const char* name)
{
    const std::string_view text(name);
    auto* const outer = m_pDocument->element;
    auto* const element = m_pDocument->document.allocate_node(rapidxml::node_element, m_pDocument->Copy(text),
                                                              nullptr, text.size());
    outer->append_node(element);
    m_pDocument->element = element;
    return outer;
}

void XMLOutputArchive::EndElement(void* outer)
{
    m_pDocument->element = static_cast<rapidxml::xml_node<>*>(outer);
}

void XMLOutputArchive::WriteText(std::string_view text)
{
    m_pDocument->element->append_node(m_pDocument->document.allocate_node(
        rapidxml::node_data, nullptr, m_pDocument->Copy(text), 0, text.size()));
}

const IFactory& XMLOutputArchive::WriteClassName(const std::type_info& type)
{
    const std::string typeName = GetRuntimeTypeName(type);
    const IFactory* const factory = FindFactoryByTypeName(typeName);
    const std::string className = GetBareClassName(typeName);
    if (!factory) throw std::runtime_error("no class named \"" + className + "\" to write");
    m_pDocument->element->append_attribute(m_pDocument->document.allocate_attribute(
        m_pDocument->Copy("classname"), m_pDocument->Copy(className), 9, className.size()));
    return *factory;
}

std::string XMLOutputArchive::GetText() const
{
    std::string text;
    rapidxml::print(std::back_inserter(text), m_pDocument->document);
    return text;
}

bool XMLOutputArchive::Save(const std::string& filename) const
{
    std::ofstream file(HostPathForWriting(filename), std::ios::binary);
    file << GetText();
    file.close();
    return file.good();
}
