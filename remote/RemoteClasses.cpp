#include "remote/RemoteClasses.h"

#include "model/archive/ClassRegistration.h"
#include "remote/Device.h"
#include "remote/Remote.h"
#include "remote/RemoteStation.h"
#include "remote/Station.h"
#include "remote/TcpRemote.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"

void RegisterRemoteClasses()
{
    static const CClassRegistration<CDevice> device("CDevice");
    static const CClassRegistration<CStation> station("CStation");
    static const CClassRegistration<CRemote> remote("CRemote");
    static const CClassRegistration<CRemoteStation> remoteStation("CRemoteStation");
    static const CClassRegistration<CTcpRemote> tcpRemote("CTcpRemote");
    static const CClassRegistration<CUdpRemote> udpRemote("CUdpRemote");
    static const CClassRegistration<CUdpRemoteStation> udpRemoteStation("CUdpRemoteStation");
}
