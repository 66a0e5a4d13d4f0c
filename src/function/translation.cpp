// The library's own translation of its messages, installed on the
// application on request.

#include "OrvFunction.h"

#include <QCoreApplication>
#include <QTranslator>

#include <memory>

// The catalogue is a resource built into the library. A static link takes
// its object file only when something refers to it: this does. (Outside
// any namespace, as Q_INIT_RESOURCE requires.)
static void registerCatalogue()
{
    static const bool registered = [] {
        Q_INIT_RESOURCE(commontools_translations);
        return true;
    }();
    Q_UNUSED(registered);
}

namespace OrvInterface {

namespace {

// Compiled from translations/*.ts and built into the library.
const char kChineseCatalogue[] = ":/commontools/translations/commontools_zh_CN.qm";

// The translator the library installed, if any. It lives until the library
// is unloaded; a QTranslator takes itself out of the application when it
// is destroyed.
std::unique_ptr<QTranslator>& installedTranslator()
{
    static std::unique_ptr<QTranslator> translator;
    return translator;
}

void removeInstalledTranslator()
{
    std::unique_ptr<QTranslator>& translator = installedTranslator();
    if (translator)
        QCoreApplication::removeTranslator(translator.get());
    translator.reset();
}

} // namespace

bool installTranslation(const QString& language)
{
    if (!QCoreApplication::instance())
        return false;
    removeInstalledTranslator();
    if (language == QLatin1String("ENG"))
        return true;
    if (language != QLatin1String("CH"))
        return false;

    registerCatalogue();
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(QString::fromLatin1(kChineseCatalogue)) || !QCoreApplication::installTranslator(translator.get()))
        return false;
    installedTranslator() = std::move(translator);
    return true;
}

} // namespace OrvInterface
