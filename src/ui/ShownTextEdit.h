#pragma once

#include <QString>

namespace corvane {

// A QTextDocument shows some characters differently from the text it was given: line feeds,
// carriage returns, U+2029 and the frame marks U+FDD0/U+FDD1 all become one paragraph separator,
// and "\r\n" becomes a single one. Reading the field back whole would rewrite those characters
// everywhere. This applies only what changed between two showings of the field to `text`, so
// everything outside the user's edit stays exactly as it was.
//
// `shownBefore` is what the document showed for `text` (QTextDocument::toRawText()),
// `shownAfter` what it shows after the edit. Paragraph separators the user typed become "\n".
QString applyShownEdit(const QString &text, const QString &shownBefore, const QString &shownAfter);

} // namespace corvane
