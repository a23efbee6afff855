#pragma once

#include <string>

#include "model/archive/ObjectFactory.h"
#include "model/archive/Serializer.h"
#include "model/archive/XMLInputArchive.h"
#include "model/archive/XMLOutputArchive.h"

/// All that one class needs to be built by name, read and written: its factory and a serializer for each
/// direction. A static object of a registration function.
template <class T>
class CClassRegistration
{
  public:
    explicit CClassRegistration(const char* className)
        : m_Factory(className), m_Input(m_Factory), m_Output(m_Factory)
    {
    }

  private:
    ObjectFactory<T> m_Factory;
    Serializer<XMLInputArchive, T> m_Input;
    Serializer<XMLOutputArchive, T> m_Output;
};
