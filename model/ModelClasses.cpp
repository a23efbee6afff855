#include "model/ModelClasses.h"

#include "model/archive/ClassRegistration.h"
#include "model/layout/LayoutRecords.h"
#include "model/settings/GlobalSetting.h"
#include "model/settings/SettingLeaves.h"
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
