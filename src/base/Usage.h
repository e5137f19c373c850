// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCommandLineParser>
#include <QString>

namespace vorn {

// The parser's help text with `name` ("vorn record") in its usage line, whatever the
// executable's path is.
QString usageText(const QCommandLineParser& parser, const QString& name);

// The parser's refusal as one sentence that points at the help.
QString refusal(const QCommandLineParser& parser, const QString& name);

}  // namespace vorn
