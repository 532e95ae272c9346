#pragma once
// The program's pictures live in its resource set under one folder; the widgets take that
// folder as their resource path and append "/name.png".

#include <QString>

namespace vkResources {
// ":/zircapp/Resources"
QString path();
// The resource name of one picture of the set, e.g. picture("velkor.png").
QString picture(const QString& fileName);
} // namespace vkResources
