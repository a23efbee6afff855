#pragma once

#include <string>
#include <typeinfo>

/// The run-time name of a class in the form that archives go by: the word for a class, a blank, the class's
/// name ("class CFolder"). Archives cut the bare name out of it again.
std::string GetRuntimeTypeName(const std::type_info& type);

template <class T>
const std::string& RuntimeTypeName()
{
    static const std::string name = GetRuntimeTypeName(typeid(T));
    return name;
}

/// The bare class name within a run-time type name: what lies between the first blank and the next.
std::string GetBareClassName(const std::string& typeName);
