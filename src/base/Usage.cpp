// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Usage.h"

namespace vorn {

QString usageText(const QCommandLineParser& parser, const QString& name) {
  QString text = parser.helpText();
  const QString prefix = QStringLiteral("Usage: ");
  if (!text.startsWith(prefix)) return text;
  // Without an application object Qt writes a placeholder there, with one the full path.
  const qsizetype end = text.indexOf(' ', prefix.size());
  return text.replace(prefix.size(), end - prefix.size(), name);
}

QString refusal(const QCommandLineParser& parser, const QString& name) {
  QString sentence = parser.errorText();
  if (sentence.endsWith('.')) sentence.chop(1);
  return QStringLiteral("%1 (see %2 --help).").arg(sentence, name);
}

}  // namespace vorn
