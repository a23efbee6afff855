#include "model/ModelClasses.h"

#include "model/ClassRegistration.h"
#include "model/Devices.h"
#include "model/Folder.h"
#include "model/GlobalSetting.h"
#include "model/Leaf.h"
#include "model/LogSetting.h"
#include "model/NetworkSetting.h"
#include "model/StorageSetting.h"
#include "model/SystemSetting.h"
#include "model/XMainWnd.h"
#include "model/XRect.h"
#include "model/XRenderWnd.h"
#include "model/XSubRender.h"
#include "model/XWnd.h"

void RegisterModelClasses()
{
    static const CClassRegistration<XRect> rect("XRect");
    static const CClassRegistration<XWnd> wnd("XWnd");
    static const CClassRegistration<XMainWnd> mainWnd("XMainWnd");
    static const CClassRegistration<XRenderWnd> renderWnd("XRenderWnd");
    static const CClassRegistration<XSubRender> subRender("XSubRender");
    static const CClassRegistration<CFolder> folder("CFolder");
    static const CClassRegistration<CDevices> devices("CDevices");
    static const CClassRegistration<CLeaf> leaf("CLeaf");
    static const CClassRegistration<CGlobalSetting> globalSetting("CGlobalSetting");
    static const CClassRegistration<CStorageSetting> storageSetting("CStorageSetting");
    static const CClassRegistration<CNetworkSetting> networkSetting("CNetworkSetting");
    static const CClassRegistration<CSystemSetting> systemSetting("CSystemSetting");
    static const CClassRegistration<CLogSetting> logSetting("CLogSetting");
}
