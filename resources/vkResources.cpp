#include "resources/vkResources.h"

QString vkResources::path()
{
    return QStringLiteral(":/zircapp/Resources");
}

QString vkResources::picture(const QString& fileName)
{
    return path() + QLatin1Char('/') + fileName;
}
