#include "cli/page/page.h"

#include <cstdint>
#include <functional>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <zlib.h>

#include "cli/page/page_texts.h"
#include "cli/terminal/json_text.h"

namespace cli {
namespace {

constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/** Base64 with padding. */
std::string base64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    const auto byte = [bytes](std::size_t place) -> std::uint32_t {
        return place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0;
    };
    for (std::size_t place = 0; place < bytes.size(); place += 3) {
        const std::uint32_t group = byte(place) << 16 | byte(place + 1) << 8 | byte(place + 2);
        for (unsigned digit = 0; digit < 4; ++digit) {
            text += place + digit <= bytes.size() ? kBase64[group >> (18 - 6 * digit) & 63] : '=';
        }
    }
    return text;
}

/** A text between tags. */
std::string markup_text(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

/** JSON as the text of a script element: no `<` in it, so that neither an end tag nor a comment begins there. */
std::string json_in_element(const Json &json) {
    const std::string text = json_line(json);
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        escaped += c == '<' ? std::string_view("\\u003c") : std::string_view(&c, 1);
    }
    return escaped;
}

Json contents_of(const Page &page) {
    Json sections = Json::array();
    for (const PageSection &section : page.sections) {
        sections.push_back(
            Json::object({{"kind", section.kind}, {"heading", section.heading}, {"data", section.data}}));
    }
    return Json::object({{"title", page.title}, {"sections", std::move(sections)}});
}

/** Nothing is allowed but the page's own script and style. */
std::string policy() {
    return "default-src 'none'; script-src '" + std::string(page_script().hash) + "'; style-src '" +
           std::string(page_style().hash) + "'; base-uri 'none'; form-action 'none'";
}

} // namespace

std::string pack_for_page(std::string_view bytes, int level) {
    uLongf size = compressBound(bytes.size());
    std::string packed(size, '\0');
    auto *const out = static_cast<Bytef *>(static_cast<void *>(packed.data()));
    const auto *const in = static_cast<const Bytef *>(static_cast<const void *>(bytes.data()));
    if (compress2(out, &size, in, bytes.size(), level) != Z_OK) {
        throw std::bad_alloc();
    }
    packed.resize(size);
    return packed;
}

void write_page(Output &output, const Page &page) {
    const std::pair<std::string_view, std::function<void()>> parts[] = {
        {"{{policy}}", [&] { output.write(policy()); }},
        {"{{title}}", [&] { output.write(markup_text(page.title)); }},
        {"{{style}}", [&] { output.write(page_style().text); }},
        {"{{contents}}", [&] { output.write(json_in_element(contents_of(page))); }},
        {"{{blocks}}",
         [&] {
             for (const PageBlock &block : page.blocks) {
                 output.write("<script type=\"application/octet-stream\" id=\"block-" + block.name + "\">");
                 output.write(base64(block.bytes));
                 output.write("</script>\n");
             }
         }},
        {"{{script}}", [&] { output.write(page_script().text); }},
    };
    std::string_view rest = page_frame().text;
    for (const auto &[place, write] : parts) {
        const std::size_t end = rest.find(place);
        if (end == std::string_view::npos) {
            throw std::logic_error("the page has no place " + std::string(place));
        }
        output.write(rest.substr(0, end));
        write();
        rest.remove_prefix(end + place.size());
    }
    output.write(rest);
}

} // namespace cli
