// The examples of the reference's guides (docs/*.md), read from the pages
// for the tests that check them against the library.
#ifndef COMMONTOOLS_TEST_GUIDES_H
#define COMMONTOOLS_TEST_GUIDES_H

#include <QByteArray>
#include <QString>

namespace Guides {

// The text of the guide docs/<name>: in the source tree, or where
// $COMMONTOOLS_TEST_GUIDES says (the installed tests' copy).
QString page(const QString& name);

// The text of the fenced block that follows the line
// "<!-- example: name -->" in a page, with its last line end; a null
// string when there is none.
QString exampleBlock(const QString& page, const QString& name);

// The bytes of a dump as hexdump -C prints it: "*" repeats the line above
// up to the next offset, and the last line gives the length. A null array
// when the text is not such a dump.
QByteArray fromHexdump(const QString& dump);

} // namespace Guides

#endif
