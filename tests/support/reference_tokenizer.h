// The tokenizer as its rules are written: one regular expression per pass,
// searched with QRegExp. The library's own tokenizer finds the matches by
// hand; the tests check that both cut every text alike.
#ifndef COMMONTOOLS_TEST_REFERENCE_TOKENIZER_H
#define COMMONTOOLS_TEST_REFERENCE_TOKENIZER_H

#include <QList>
#include <QString>

namespace Reference {

struct Token
{
    QString text;
    int type;      // a WordType value
    int position;

    bool operator==(const Token& other) const
    {
        return text == other.text && type == other.type && position == other.position;
    }
};

// The words of a normalised expression, sorted by position. Needs the
// operator table (OrvInterface::Enviroment()).
QList<Token> tokenize(const QString& expr);

// "text/type/position" of each token, separated by blanks, for messages.
QString describe(const QList<Token>& tokens);

} // namespace Reference

#endif
