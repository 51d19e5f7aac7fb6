#include "skin/skin_parse_error.h"

static const char *const ampersand = "an & must be written &amp;";

struct error_words {
    XML_Error error;
    const char *text;
};

static const error_words known_errors[] = {
    {XML_ERROR_NO_ELEMENTS, "the file ends before <skin ...> is closed by </skin>"},
    {XML_ERROR_UNCLOSED_TOKEN,
     "a tag is not closed: it ends in > or />, and each value in a quote"},
    {XML_ERROR_TAG_MISMATCH,
     "this closes another tag than the last one that was opened; an element "
     "without content ends in />"},
    {XML_ERROR_DUPLICATE_ATTRIBUTE, "an attribute stands twice in one tag"},
    {XML_ERROR_JUNK_AFTER_DOC_ELEMENT, "nothing may stand behind </skin>"},
    {XML_ERROR_UNDEFINED_ENTITY, ampersand},
    {XML_ERROR_BAD_CHAR_REF, "the number between &# and ; is no character"},
    {XML_ERROR_MISPLACED_XML_PI, "<?xml ...?> must be the very first thing in the file"},
    {XML_ERROR_XML_DECL,
     "the line <?xml version=\"1.0\" encoding=\"UTF-8\"?> is not written right"},
    {XML_ERROR_UNKNOWN_ENCODING, "the encoding is not known: write UTF-8"},
    {XML_ERROR_INCORRECT_ENCODING, "the file has another encoding than its first line says"},
    {XML_ERROR_PARTIAL_CHAR, "the file ends within a character: save it as UTF-8"},
    {XML_ERROR_UNCLOSED_CDATA_SECTION, "<![CDATA[ is not closed by ]]>"},
    {XML_ERROR_NO_MEMORY, "memory runs out"},
};

static bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/* What went before the place, blanks left out; 0 at the beginning. */
static char before(const char *text, size_t at)
{
    while (at > 0 && is_blank(text[at - 1]))
        at--;
    return at > 0 ? text[at - 1] : '\0';
}

/* A sign that may not stand where it does has a few usual reasons. */
static const char *describe_sign(const char *text, size_t at, size_t size)
{
    const char here = at < size ? text[at] : '\0';
    const char last = at > 0 ? text[at - 1] : '\0';
    if (here == '&' || last == '&')
        return ampersand;
    if (static_cast<unsigned char>(here) >= 0x80)
        return "this is no UTF-8: save the file as UTF-8";
    if (before(text, at) == '=')
        return "a value stands in quotes: x=\"10\"";
    if (last == '"' || last == '\'')
        return "a blank must stand between two attributes";
    if (here == '<')
        return "the tag before is not closed: it ends in > or />; a < in a value is written &lt;";
    if (here == '-' || last == '-')
        return "a comment stands between <!-- and -->, and has no -- within";
    if (here == '>' || here == '/' || here == '"' || here == '\'')
        return "an attribute is written name=\"value\"";
    return "this sign may not stand here";
}

const char *skin_parse_error(XML_Error error, const char *text, size_t at, size_t size)
{
    if (error == XML_ERROR_INVALID_TOKEN && text)
        return describe_sign(text, at, size);
    for (const error_words &known : known_errors)
        if (known.error == error)
            return known.text;
    return XML_ErrorString(error);
}
