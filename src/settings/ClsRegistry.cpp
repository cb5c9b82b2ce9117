#include "ClsRegistry.h"

#include <memory>

namespace {

std::unique_ptr<ClsRegistry>& programRegistry()
{
    static std::unique_ptr<ClsRegistry> instance;
    return instance;
}

} // namespace

QVariant ClsRegistry::get(int number) const
{
    if (m_previewing) {
        const auto previewed = m_preview.constFind(number);
        if (previewed != m_preview.cend())
            return checkedValue(number, previewed.value());
    }
    return ClsRegistryBase::get(number);
}

void ClsRegistry::beginPreview()
{
    m_preview.clear();
    m_previewing = true;
}

bool ClsRegistry::setPreviewValue(int number, const QVariant& value)
{
    const SettingRow* row = settingRow(number);
    if (!m_previewing || !row || row->rule == SettingRule::Reserved)
        return false;
    m_preview.insert(number, value);
    return true;
}

void ClsRegistry::endPreview()
{
    m_preview.clear();
    m_previewing = false;
}

ClsRegistry& registry()
{
    std::unique_ptr<ClsRegistry>& instance = programRegistry();
    if (!instance)
        instance = std::make_unique<ClsRegistry>();
    return *instance;
}

void releaseRegistry()
{
    programRegistry().reset();
}
