#include "remote/TcpRemote.h"

CTcpRemote::CTcpRemote(std::int32_t mode, std::int32_t recordId) : m_iMode(mode), m_iRecordID(recordId)
{
    m_bVisible = false;
}
