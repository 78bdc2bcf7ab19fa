#include "tools/profile_tables/profile_manual.h"

#include <span>
#include <string_view>

#include "crawler/config/config_elements.h"

namespace wk {
namespace {

constexpr std::string_view INTRODUCTION = R"(# Crawler profiles

This page is made by `build/profile_tables manual` from the table that profiles are read by.

A profile file is XML: a root element, `crawlers`, with one or more `crawler` elements, each of them a profile.
`-crawler-name` chooses one by its `name`; without it, or when none has that name, the first one is read. Profiles to start
from are in [examples](../examples); [packaging/wkcrawler.dtd](../packaging/wkcrawler.dtd) is the document type. The
crawler does not load it; editors and `xmllint --noout --valid` do.

- Elements may stand in any order. Of two elements with one name the later wins: attribute by attribute, and for a list as
  a whole.
- Names are compared exactly, the mix of dashes and underscores included. A name that is not in the tables is passed over.
- A **boolean** is true as `true`, `1`, `yes` or `on`; everything else is false. An **integer** is read up to its first
  byte that is no digit; no number at all is 0. In a `switch`, 0 is off and everything else on.
- A **directory** must be there before the crawl starts. Relative paths begin at the directory that the crawler is started in.
- Entries of a list count whatever their element is called; one without a required attribute is passed over.
- The document type may declare internal general entities, as `<!DOCTYPE crawlers [<!ENTITY site "http://www.example">]>`,
  and the file use them (`&site;`) as far as the limits of libxml2 go. A file that declares anything else there, or uses an
  entity that it does not declare, is refused; no other file is ever read.
- `-no-libxml` reads and refuses the same files, but for two things: of encodings it knows UTF-8, UTF-16, Latin-1 and ASCII, and
  it refuses a file that uses an entity of its own.

The crawler reads a profile with a slip in it all the same, and says on standard error where the slip is:

```
crawl.xml:12: attribute "nb-spider" of "crawler" is not known; did you mean "nb-spiders"?
```

`build/check_profile crawl.xml` says the same without a crawl: status 0 when nothing is suspicious, 1 when something is, 2
when the file holds no profile. It also tells of directories that are not there, of files to be written that stand in a
directory that is emptied, and of an administration port in use. A log, status or link file that is the profile itself ends
the start.

## crawler

A profile. The other elements of this page stand inside it.

)";

std::string_view get_type_name(config_value_type type) {
  switch (type) {
    case CONFIG_TEXT:
    case CONFIG_PATTERN:
      return "text";
    case CONFIG_INTEGER:
    case CONFIG_INTERVAL:
      return "integer";
    case CONFIG_BOOLEAN:
      return "boolean";
    case CONFIG_DIRECTORY:
      return "directory";
    case CONFIG_FILE:
      return "file";
    case CONFIG_FILE_BASE:
      return "begin of files' paths";
  }
  return "";
}

void append_attribute_table(std::span<const config_attribute> attributes, std::string& out) {
  out.append("| Attribute | Type | Default | Effect |\n|---|---|---|---|\n");
  for (const config_attribute& attribute : attributes) {
    out.append("| `").append(attribute.name).append("` | ").append(get_type_name(attribute.type));
    if (*attribute.unit != '\0') out.append(", ").append(attribute.unit);
    out.append(" | ");
    if (attribute.required) {
      out.append("required");
    } else if (*attribute.default_value != '\0') {
      out.append("`").append(attribute.default_value).append("`");
    }
    out.append(" | ").append(attribute.effect).append(" |\n");
  }
}

}  // namespace

void write_profile_manual(std::string& out) {
  out.assign(INTRODUCTION);
  append_attribute_table(get_config_profile_attributes(), out);
  for (const config_element& element : get_config_elements()) {
    out.append("\n## ").append(element.name).append("\n\n").append(element.effect);
    if (element.entry_name != nullptr) {
      out.append(" A list of `").append(element.entry_name).append("` elements, each with:");
    }
    out.append("\n\n");
    append_attribute_table(
        element.entry_name != nullptr ? element.entry_attributes : element.attributes, out);
  }
}

}  // namespace wk
