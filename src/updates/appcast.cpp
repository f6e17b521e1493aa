#include "updates/appcast.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace brellow::updates {

namespace {

constexpr const char* kSparkleNamespace = "http://www.andymatuschak.org/xml-namespaces/sparkle";

struct DocumentCloser {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};

bool named(const xmlNode* node, const char* name, const char* ns = nullptr) {
    if (node->type != XML_ELEMENT_NODE ||
        std::strcmp(reinterpret_cast<const char*>(node->name), name) != 0)
        return false;
    if (ns == nullptr)
        return node->ns == nullptr || node->ns->href == nullptr ||
               std::strcmp(reinterpret_cast<const char*>(node->ns->href), kSparkleNamespace) != 0;
    return node->ns != nullptr && node->ns->href != nullptr &&
           std::strcmp(reinterpret_cast<const char*>(node->ns->href), ns) == 0;
}

std::string textOf(const xmlNode* node) {
    xmlChar* content = xmlNodeGetContent(node);
    std::string text = content != nullptr ? reinterpret_cast<const char*>(content) : "";
    xmlFree(content);
    // Surrounding white space is layout, not part of a version or an address.
    const auto first = text.find_first_not_of(" \t\r\n");
    const auto last = text.find_last_not_of(" \t\r\n");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

std::string attribute(const xmlNode* node, const char* name, const char* ns = nullptr) {
    xmlChar* value = ns != nullptr ? xmlGetNsProp(node, reinterpret_cast<const xmlChar*>(name),
                                                  reinterpret_cast<const xmlChar*>(ns))
                                   : xmlGetNoNsProp(node, reinterpret_cast<const xmlChar*>(name));
    std::string text = value != nullptr ? reinterpret_cast<const char*>(value) : "";
    xmlFree(value);
    return text;
}

int depthOf(const xmlNode* node) {
    int deepest = 0;
    for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) deepest = std::max(deepest, 1 + depthOf(child));
        if (deepest > kMaxFeedDepth) break;
    }
    return deepest;
}

AppcastItem readItem(const xmlNode* item) {
    AppcastItem parsed;
    for (const xmlNode* child = item->children; child != nullptr; child = child->next) {
        if (named(child, "title")) parsed.title = textOf(child);
        if (named(child, "version", kSparkleNamespace)) parsed.version = textOf(child);
        if (named(child, "shortVersionString", kSparkleNamespace))
            parsed.shortVersion = textOf(child);
        if (named(child, "channel", kSparkleNamespace)) parsed.channel = textOf(child);
        if (named(child, "minimumSystemVersion", kSparkleNamespace))
            parsed.minimumSystemVersion = textOf(child);
        if (named(child, "releaseNotesLink", kSparkleNamespace))
            parsed.releaseNotesLink = textOf(child);
        if (named(child, "enclosure")) {
            parsed.downloadURL = attribute(child, "url");
            if (parsed.version.empty())
                parsed.version = attribute(child, "version", kSparkleNamespace);
            if (parsed.shortVersion.empty())
                parsed.shortVersion = attribute(child, "shortVersionString", kSparkleNamespace);
        }
    }
    if (parsed.shortVersion.empty()) parsed.shortVersion = parsed.version;
    return parsed;
}

}  // namespace

Result<std::vector<AppcastItem>, std::string> parseAppcast(std::string_view xml) {
    if (xml.size() > kMaxFeedBytes) return fail(std::string("the feed is too large"));
    // No network access, no entity substitution, no DTD loading: a feed is data, nothing more.
    const int options =
        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;
    std::unique_ptr<xmlDoc, DocumentCloser> document(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "appcast.xml", nullptr, options));
    if (!document) return fail(std::string("the feed is not well-formed XML"));
    // Appcasts declare no DTD; one that does could expand entities when its text is read.
    if (document->intSubset != nullptr || document->extSubset != nullptr) {
        return fail(std::string("the feed declares a DTD"));
    }
    const xmlNode* root = xmlDocGetRootElement(document.get());
    if (root == nullptr || !named(root, "rss"))
        return fail(std::string("the feed is not an RSS document"));
    if (depthOf(root) > kMaxFeedDepth) return fail(std::string("the feed is nested too deeply"));
    std::vector<AppcastItem> items;
    for (const xmlNode* channel = root->children; channel != nullptr; channel = channel->next) {
        if (!named(channel, "channel")) continue;
        for (const xmlNode* item = channel->children; item != nullptr; item = item->next) {
            if (!named(item, "item")) continue;
            AppcastItem parsed = readItem(item);
            if (!parsed.version.empty()) items.push_back(std::move(parsed));
        }
    }
    return items;
}

int compareVersions(std::string_view a, std::string_view b) {
    auto next = [](std::string_view& text) -> unsigned long long {
        unsigned long long value = 0;
        std::size_t i = 0;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
            value = value * 10 + static_cast<unsigned long long>(text[i] - '0');
            ++i;
        }
        while (i < text.size() && text[i] != '.')
            ++i;  // anything after the number counts for nothing
        text.remove_prefix(i < text.size() ? i + 1 : i);
        return value;
    };
    while (!a.empty() || !b.empty()) {
        const auto left = next(a);
        const auto right = next(b);
        if (left != right) return left < right ? -1 : 1;
    }
    return 0;
}

}  // namespace brellow::updates
