#include "crawler/content/feed_links.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlreader.h>

#include <climits>
#include <memory>

#include "crawler/content/plain_feed.h"
#include "crawler/url/url_kind.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// Faults are expected and not worth a word. No option lifts the reader's own limits.
constexpr int READER_OPTIONS =
    XML_PARSE_RECOVER | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

// A broken feed up to this size is read a second time, as a tree that takes up to 60 times as much.
constexpr size_t MAX_MENDED_FEED_BYTES = size_t{2} << 20;

struct free_text_reader {
  void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};
using text_reader_ptr = std::unique_ptr<xmlTextReader, free_text_reader>;

struct free_document {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};

std::string_view view_xml(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

bool is_text_node(int type) {
  return type == XML_READER_TYPE_TEXT || type == XML_READER_TYPE_CDATA;
}

void gather_feed_link(std::string_view text, link_gatherer& gatherer) {
  const std::string_view link = trim_blanks(text);
  if (link.empty()) return;
  const url_kind kind = classify_url(link);
  if (kind == URL_HTTP || kind == URL_HTTPS) {
    gather_absolute_link(gatherer, link);
  } else {
    gather_link(gatherer, link);
  }
}

// Where the reader stands in a feed.
struct feed_place {
  bool in_item = false;
  bool behind_link = false;  // the node before began a link of an item
};

void read_feed_node(xmlTextReader* reader, feed_place& place, link_gatherer& gatherer) {
  const int type = xmlTextReaderNodeType(reader);
  const bool behind_link = place.behind_link;
  place.behind_link = false;
  if (type == XML_READER_TYPE_ELEMENT) {
    const std::string_view name = view_xml(xmlTextReaderConstName(reader));
    if (name == "item") place.in_item = xmlTextReaderIsEmptyElement(reader) != 1;
    place.behind_link = place.in_item && name == "link";
  } else if (type == XML_READER_TYPE_END_ELEMENT) {
    if (view_xml(xmlTextReaderConstName(reader)) == "item") place.in_item = false;
  } else if (behind_link && is_text_node(type)) {
    gather_feed_link(view_xml(xmlTextReaderConstValue(reader)), gatherer);
  }
}

// False when the reader came to a fault.
bool read_feed_nodes(xmlTextReader* reader, link_gatherer& gatherer) {
  feed_place place;
  int answer = 1;
  while (reader != nullptr && (answer = xmlTextReaderRead(reader)) == 1) {
    read_feed_node(reader, place, gatherer);
  }
  return answer == 0;
}

// The reader of a stream ends at the first fault, whatever it is told; only a tree is mended.
void read_mended_feed(std::string_view feed, link_gatherer& gatherer) {
  const std::unique_ptr<xmlDoc, free_document> document(
      xmlReadMemory(feed.data(), static_cast<int>(feed.size()), nullptr, nullptr, READER_OPTIONS));
  if (document == nullptr) return;
  const text_reader_ptr reader(xmlReaderWalker(document.get()));
  (void)read_feed_nodes(reader.get(), gatherer);
}

}  // namespace

void add_feed_links(std::string_view feed, std::string& plain, link_gatherer& gatherer) {
  build_plain_feed(plain, feed);
  if (plain.size() > INT_MAX) return;
  const uint32_t nb_before = gatherer.links->count;
  const text_reader_ptr reader(xmlReaderForMemory(plain.data(), static_cast<int>(plain.size()),
                                                  nullptr, nullptr, READER_OPTIONS));
  if (read_feed_nodes(reader.get(), gatherer) || plain.size() > MAX_MENDED_FEED_BYTES) return;
  gatherer.links->count = nb_before;  // the tree gives them again
  read_mended_feed(plain, gatherer);
}

}  // namespace wk
