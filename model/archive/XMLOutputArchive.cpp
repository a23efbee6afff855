#include "model/archive/XMLOutputArchive.h"

#include <fstream>
#include <iterator>
#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_print.hpp>
#include <stdexcept>

#include "model/ModelClasses.h"
#include "platform/os/paths.h"

struct XOutputDocument {
    rapidxml::xml_document<> m_Document;
    rapidxml::xml_node<>* m_pElement = nullptr;  // the current one

    char* Copy(std::string_view text)
    {
        // The document's pool takes a size of 0 for "measure it", so an empty text needs its terminator.
        return text.empty() ? m_Document.allocate_string("", 1)
                            : m_Document.allocate_string(text.data(), text.size());
    }
};

XMLOutputArchive::XMLOutputArchive() : m_pDocument(std::make_unique<XOutputDocument>())
{
    RegisterModelClasses();
    m_pDocument->m_pElement = m_pDocument->m_Document.allocate_node(rapidxml::node_element, "config");
    m_pDocument->m_Document.append_node(m_pDocument->m_pElement);
}

XMLOutputArchive::~XMLOutputArchive() = default;

void* XMLOutputArchive::BeginElement(const char* name)
{
    const std::string_view text(name);
    auto* const outer = m_pDocument->m_pElement;
    auto* const element = m_pDocument->m_Document.allocate_node(rapidxml::node_element, m_pDocument->Copy(text),
                                                                nullptr, text.size());
    outer->append_node(element);
    m_pDocument->m_pElement = element;
    return outer;
}

void XMLOutputArchive::EndElement(void* outer)
{
    m_pDocument->m_pElement = static_cast<rapidxml::xml_node<>*>(outer);
}

void XMLOutputArchive::WriteText(std::string_view text)
{
    m_pDocument->m_pElement->append_node(m_pDocument->m_Document.allocate_node(
        rapidxml::node_data, nullptr, m_pDocument->Copy(text), 0, text.size()));
}

const IFactory& XMLOutputArchive::WriteClassName(const std::type_info& type)
{
    const std::string typeName = GetRuntimeTypeName(type);
    const IFactory* const factory = FindFactoryByTypeName(typeName);
    const std::string className = GetBareClassName(typeName);
    if (!factory) throw std::runtime_error("no class named \"" + className + "\" to write");
    m_pDocument->m_pElement->append_attribute(m_pDocument->m_Document.allocate_attribute(
        m_pDocument->Copy("classname"), m_pDocument->Copy(className), 9, className.size()));
    return *factory;
}

std::string XMLOutputArchive::GetText() const
{
    std::string text;
    rapidxml::print(std::back_inserter(text), m_pDocument->m_Document);
    return text;
}

bool XMLOutputArchive::Save(const std::string& filename) const
{
    std::ofstream file(HostPathForWriting(filename), std::ios::binary);
    file << GetText();
    file.close();
    return file.good();
}
