#include "DocxText.h"

#include <archive.h>
#include <archive_entry.h>
#include <libxml/xmlreader.h>
#include <memory>
#include <string_view>

namespace parlowen::service {

namespace {

using Reason = DocxError::Reason;

constexpr std::string_view textPart = "word/document.xml";
constexpr std::size_t blockBytes = std::size_t{64} * 1024;
constexpr std::size_t mostXml = std::size_t{48} * 1024 * 1024;
constexpr std::size_t mostText = std::size_t{1024} * 1024;
constexpr int mostEntries = 10'000;

using Archive = std::unique_ptr<archive, decltype(&archive_read_free)>;
using Reader = std::unique_ptr<xmlTextReader, decltype(&xmlFreeTextReader)>;

/// The part with the text, as it is unpacked.
struct PartSource {
    archive* zip;
    std::size_t unpacked = 0;
    bool isTooLarge = false;

    static int read(void* context, char* buffer, int size) {
        auto& source = *static_cast<PartSource*>(context);
        const la_ssize_t count = archive_read_data(source.zip, buffer, static_cast<std::size_t>(size));
        if (count < 0)
            return -1;
        source.unpacked += static_cast<std::size_t>(count);
        source.isTooLarge = source.unpacked > mostXml;
        return source.isTooLarge ? -1 : static_cast<int>(count);
    }
};

Archive openedPart(const std::filesystem::path& file) {
    Archive zip(archive_read_new(), archive_read_free);
    archive_read_support_format_zip(zip.get());
    if (archive_read_open_filename(zip.get(), file.c_str(), blockBytes) != ARCHIVE_OK)
        throw DocxError(Reason::Damaged, "no archive");
    archive_entry* entry = nullptr;
    int entries = 0;
    const auto next = [&] { return archive_read_next_header(zip.get(), &entry); };
    for (int found = next(); found == ARCHIVE_OK || found == ARCHIVE_WARN; found = next()) { // a name it cannot spell
        const char* name = archive_entry_pathname(entry);
        if (name != nullptr && name == textPart)
            return zip;
        if (++entries > mostEntries)
            throw DocxError(Reason::TooLarge, "too many entries");
    }
    throw DocxError(Reason::WrongType, "no Word document in the archive");
}

bool isNamed(xmlTextReader* reader, std::string_view name) {
    return reinterpret_cast<const char*>(xmlTextReaderConstLocalName(reader)) == name;
}

/// Adds what one node says.
void addNode(xmlTextReader* reader, bool& inText, std::string& text) {
    switch (xmlTextReaderNodeType(reader)) {
    case XML_READER_TYPE_DOCUMENT_TYPE:
    case XML_READER_TYPE_ENTITY_REFERENCE:
        throw DocxError(Reason::Damaged, "a Word document has no entities");
    case XML_READER_TYPE_ELEMENT:
        inText = isNamed(reader, "t") && xmlTextReaderIsEmptyElement(reader) == 0;
        if (isNamed(reader, "tab"))
            text += '\t';
        else if (isNamed(reader, "br") || isNamed(reader, "cr"))
            text += '\n';
        break;
    case XML_READER_TYPE_END_ELEMENT:
        inText = false;
        if (isNamed(reader, "p"))
            text += '\n';
        else if (isNamed(reader, "tc"))
            text += '\t';
        break;
    case XML_READER_TYPE_TEXT:
    case XML_READER_TYPE_CDATA:
    case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
    case XML_READER_TYPE_WHITESPACE:
        if (inText)
            text += reinterpret_cast<const char*>(xmlTextReaderConstValue(reader));
        break;
    default:
        break;
    }
}

void ignoreXmlError(void*, const char*, xmlParserSeverities, xmlTextReaderLocatorPtr) {}

} // namespace

std::string docxText(const std::filesystem::path& file) {
    const Archive zip = openedPart(file);
    PartSource source{zip.get()};
    const Reader reader(xmlReaderForIO(PartSource::read, nullptr, &source, nullptr, nullptr, XML_PARSE_NONET),
                        xmlFreeTextReader);
    if (!reader)
        throw DocxError(Reason::Damaged, "no XML reader");
    xmlTextReaderSetErrorHandler(reader.get(), ignoreXmlError, nullptr);
    std::string text;
    bool inText = false;
    int read = 0;
    while ((read = xmlTextReaderRead(reader.get())) == 1) {
        addNode(reader.get(), inText, text);
        if (text.size() > mostText)
            throw DocxError(Reason::TooLarge, "too much text");
    }
    if (source.isTooLarge)
        throw DocxError(Reason::TooLarge, "too much XML");
    if (read < 0)
        throw DocxError(Reason::Damaged, "broken XML");
    return text;
}

} // namespace parlowen::service
