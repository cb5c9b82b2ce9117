#include "PlayerSettings.h"

#include "ClsRegistryBase.h"

namespace {

// The old values of the "as read" switches: -1 and 0, sometimes 1.
bool isSet(const QVariant& value)
{
    return value.toInt() != 0;
}

} // namespace

PlayerSettings PlayerSettings::read(const ClsRegistryBase& settings)
{
    auto number = [&](int n) { return settings.get(n).toInt(); };
    PlayerSettings s;
    s.plan.delaySeconds = number(SettingNo::DiapoDelay);
    s.plan.transitionMs = SlideshowPlan::transitionMsForSpeed(number(SettingNo::DiapoSpeed));
    s.plan.captionDefaults.fontName = settings.get(SettingNo::DiapoBotFontName).toString();
    s.plan.captionDefaults.pointSize = number(SettingNo::DiapoBotFontSize);

    s.render.background = colourFromBgr(number(SettingNo::DiapoBackColor));
    s.render.throughBlack = isSet(settings.get(SettingNo::DiapoFromBlack));
    s.render.showFileName = isSet(settings.get(SettingNo::DiapoShowFileName));
    s.render.fileNameFull = isSet(settings.get(SettingNo::DiapoFileNameFull));
    CaptionStyle& top = s.render.fileNameStyle;
    top.fontName = settings.get(SettingNo::DiapoTopFontName).toString();
    top.pointSize = number(SettingNo::DiapoTopFontSize);
    top.bold = isSet(settings.get(SettingNo::DiapoTopFontBold));
    top.italic = isSet(settings.get(SettingNo::DiapoTopFontItalic));
    top.underline = isSet(settings.get(SettingNo::DiapoTopFontUnderline));
    top.fore = colourFromBgr(number(SettingNo::DiapoTopForeColor));
    top.back = colourFromBgr(number(SettingNo::DiapoTopBackColor));
    top.opaque = number(SettingNo::DiapoTopBackStyle) == 1;
    top.align = number(SettingNo::DiapoTopAlign);

    s.projectKey = settings.get(SettingNo::DiapoProjectKey).toLongLong();
    s.typeProject = number(SettingNo::DiapoTypeProject);
    s.multiMonitor = number(SettingNo::DiapoMultiMonitor) == 1;
    s.apercuMonitor = number(SettingNo::DiapoApercuMonitor);
    s.toolsHide = number(SettingNo::DiapoToolsHide) == 1;
    s.toolsSeconds = number(SettingNo::DiapoToolsSec);
    s.cycle = number(SettingNo::DiapoCycle) != 0;
    return s;
}

int PlayerSettings::screenIndex(bool preview, int screenCount, int primary) const
{
    if ((preview || multiMonitor) && apercuMonitor >= 0 && apercuMonitor < screenCount)
        return apercuMonitor;
    return primary;
}
