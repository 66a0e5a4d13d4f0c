// commontools config and filters: the user's settings in CustomConfig.ini.

#include "command.h"

#include <OrvFunction.h>

#include <QFileInfo>

namespace Tool {

namespace {

QString customConfigFile()
{
    return OrvInterface::programDataPath() + QStringLiteral("/CustomConfig.ini");
}

QString shown(const QString& value)
{
    return value.isNull() ? QStringLiteral("(not set)") : QLatin1Char('"') + value + QLatin1Char('"');
}

} // namespace

int runConfig(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("action"), QStringLiteral("get KEY: print the value of KEY;\n"
                                                                          "set KEY VALUE: store VALUE under KEY."),
                                 QStringLiteral("get KEY | set KEY VALUE"));
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("The client's own settings in CustomConfig.ini, stored as Base64 "
                                                     "of UTF-8 (any text is kept). 'set' creates the file when missing."));
    if (code >= 0)
        return code;
    const QStringList texts = parser.positionalArguments();
    if (texts.size() == 2 && texts.at(0) == QLatin1String("get")) {
        out() << OrvInterface::getCustomConfig(texts.at(1)) << Qt::endl;
        return Success;
    }
    if (texts.size() == 3 && texts.at(0) == QLatin1String("set")) {
        if (texts.at(1).isEmpty())
            return fail(QStringLiteral("config set needs a key"), UsageError);
        OrvInterface::setCustomConfigUtf8(texts.at(1), texts.at(2));
        return Success;
    }
    return fail(QStringLiteral("config needs 'get KEY' or 'set KEY VALUE'"), UsageError);
}

int runFilters(const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption vendorState(QStringLiteral("vendor-state"), QStringLiteral("Store the vendor filter state."), QStringLiteral("n"));
    const QCommandLineOption modelState(QStringLiteral("model-state"), QStringLiteral("Store the model filter state."), QStringLiteral("n"));
    const QCommandLineOption vendorInclude(QStringLiteral("vendor-include"), QStringLiteral("Store the vendors to include."), QStringLiteral("list"));
    const QCommandLineOption vendorExclude(QStringLiteral("vendor-exclude"), QStringLiteral("Store the vendors to exclude."), QStringLiteral("list"));
    const QCommandLineOption modelInclude(QStringLiteral("model-include"), QStringLiteral("Store the models to include."), QStringLiteral("list"));
    const QCommandLineOption modelExclude(QStringLiteral("model-exclude"), QStringLiteral("Store the models to exclude."), QStringLiteral("list"));
    parser.addOptions({vendorState, modelState, vendorInclude, vendorExclude, modelInclude, modelExclude});
    const int code = parseCommandLine(parser, arguments,
                                      QStringLiteral("Shows the device enumeration filters, after storing those given. "
                                                     "They are stored only in an existing CustomConfig.ini."));
    if (code >= 0)
        return code;
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("filters takes options only"), UsageError);

    qint64 states[2] = {0, 0};
    const QCommandLineOption* stateOptions[2] = {&vendorState, &modelState};
    for (int i = 0; i < 2; ++i) {
        if (parser.isSet(*stateOptions[i]) && !parseInteger(parser.value(*stateOptions[i]), INT32_MIN, INT32_MAX, &states[i]))
            return fail(QStringLiteral("'%1' is not a state number").arg(parser.value(*stateOptions[i])), UsageError);
    }

    const bool setting = parser.isSet(vendorState) || parser.isSet(modelState) || parser.isSet(vendorInclude)
            || parser.isSet(vendorExclude) || parser.isSet(modelInclude) || parser.isSet(modelExclude);
    if (setting && !QFileInfo::exists(customConfigFile()))
        return fail(QStringLiteral("%1 does not exist, and the filters are stored only in an existing file "
                                   "(commontools config set creates it)").arg(customConfigFile()));

    using namespace OrvInterface;
    if (parser.isSet(vendorState))
        setVendorFilterState(int(states[0]));
    if (parser.isSet(modelState))
        setModelFilterState(int(states[1]));
    if (parser.isSet(vendorInclude))
        setVendorFilterInclude(parser.value(vendorInclude));
    if (parser.isSet(vendorExclude))
        setVendorFilterExclude(parser.value(vendorExclude));
    if (parser.isSet(modelInclude))
        setModelFilterInclude(parser.value(modelInclude));
    if (parser.isSet(modelExclude))
        setModelFilterExclude(parser.value(modelExclude));

    printField(QStringLiteral("Settings file"), customConfigFile() + (QFileInfo::exists(customConfigFile()) ? QString() : QStringLiteral(" (absent)")));
    printField(QStringLiteral("Neutral vision"), yesNo(isNeutralVision()));
    printField(QStringLiteral("Enumeration filter"), shown(enumFilter()));
    printField(QStringLiteral("Exclusion filter"), shown(unEnumFilter()));
    printField(QStringLiteral("Vendor filter state"), QString::number(vendorFilterState()));
    printField(QStringLiteral("Vendors included"), shown(vendorFilterInclude()));
    printField(QStringLiteral("Vendors excluded"), shown(vendorFilterExclude()));
    printField(QStringLiteral("Model filter state"), QString::number(modelFilterState()));
    printField(QStringLiteral("Models included"), shown(modelFilterInclude()));
    printField(QStringLiteral("Models excluded"), shown(modelFilterExclude()));
    printField(QStringLiteral("Basic features"), shown(basicFeatureFilter()));
    printField(QStringLiteral("Tools supported"), QString::number(toolsSupportNum()));
    return Success;
}

void demoFilters()
{
    using namespace OrvInterface;
    out() << "Filters and features are kept in CustomConfig.ini; the filter setters" << Qt::endl
          << "store only into an existing file." << Qt::endl;
    printField(QStringLiteral("vendorFilterState()"), QString::number(vendorFilterState()));
    printField(QStringLiteral("vendorFilterInclude()"), shown(vendorFilterInclude()));
    printField(QStringLiteral("basicFeatureFilter()"), basicFeatureFilter());
    printField(QStringLiteral("toolsSupportNum()"), QString::number(toolsSupportNum()));
    printField(QStringLiteral("softwareConfigInfor(APPName)"), shown(softwareConfigInfor(QStringLiteral("APPName"))));
}

} // namespace Tool
