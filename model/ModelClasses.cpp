#include "model/ModelClasses.h"

#include "model/archive/ClassRegistration.h"
#include "model/layout/XMainWnd.h"
#include "model/layout/XRect.h"
#include "model/layout/XRenderWnd.h"
#include "model/layout/XSubRender.h"
#include "model/layout/XWnd.h"
#include "model/settings/GlobalSetting.h"
#include "model/settings/LogSetting.h"
#include "model/settings/NetworkSetting.h"
#include "model/settings/StorageSetting.h"
#include "model/settings/SystemSetting.h"
#include "model/tree/Devices.h"
#include "model/tree/Folder.h"
#include "model/tree/Leaf.h"

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
