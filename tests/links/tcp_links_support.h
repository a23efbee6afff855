#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "remote/TcpRemote.h"
#include "tests/links/recorder_support.h"
#include "tests/model/model_support.h"

/// A module directory of the test's own, where devices are reached by the address that they have, and a
/// recorder on a loopback address of this process's own: its ports are fixed.
class CTcpLinksTest : public CModelTest
{
  protected:
    CTcpLinksTest();
    ~CTcpLinksTest() override;

    /// Two channels of 176x144 with numbers in their pictures.
    std::unique_ptr<CRecorderProcess> StartRecorder(const std::vector<std::string>& further = {}) const;
    void Open(CTcpRemote& device, std::int32_t channel = 1) const;

    const std::string m_strAddress;
};
