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

The crawler reads a profile with a slip in it all the same, and says on standard error where the slip is:

```
crawl.xml:12: attribute "nb-spider" of "crawler" is not known; did you mean "nb-spiders"?
```

`build/check_profile crawl.xml` says the same without a crawl: status 0 when nothing is suspicious, 1 when something is, 2
when the file holds no profile. It also tells of directories that are not there and of an administration port in use.

## crawler

A profile. The other elements of this page stand inside it.

)";

std::string_view get_type_name(config_value_type type) {
  switch (type) {
    case CONFIG_TEXT:
      return "text";
    case CONFIG_INTEGER:
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
