#include "cli/inputs/content.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/store/store_header.h"
#include "host/utf8.h"
#include "platform/RvStateCapture.h"

namespace cli {
namespace {

using namespace std::string_view_literals;

/** What the first bytes say to a question. */
enum class Answer { No, Yes, Open };

Answer both(Answer a, Answer b) {
    if (a == Answer::No || b == Answer::No) {
        return Answer::No;
    }
    return a == Answer::Yes && b == Answer::Yes ? Answer::Yes : Answer::Open;
}

/** The first bytes, and whether there are others. */
class Sample {
public:
    Sample(std::span<const std::byte> bytes, bool is_all)
        : _text(static_cast<const char *>(static_cast<const void *>(bytes.data())),
                std::min(bytes.size(), kSampleBytes)),
          _is_all(is_all || bytes.size() >= kSampleBytes) {}

    std::string_view text() const { return _text; }
    bool is_all() const { return _is_all; }

    /** The bytes from `offset` on, at most `count`. */
    std::string_view part(std::size_t offset, std::size_t count) const {
        return _text.substr(std::min(offset, _text.size()), count);
    }

    /** What holds for as many bytes as there are of `count`. */
    Answer answer(bool holds, std::size_t there_are, std::size_t count) const {
        if (!holds || (there_are < count && _is_all)) {
            return Answer::No;
        }
        return there_are < count ? Answer::Open : Answer::Yes;
    }

    /** Whether `expected` stands at `offset`. */
    Answer has(std::size_t offset, std::string_view expected) const {
        const std::string_view found = part(offset, expected.size());
        return answer(expected.starts_with(found), found.size(), expected.size());
    }

    /** Whether a field of `size` bytes has a text and then only zeros. */
    Answer has_text_field(std::size_t offset, std::size_t size) const {
        const std::string_view field = part(offset, size);
        const std::string_view text = field.substr(0, field.find('\0'));
        const bool is_text = std::none_of(text.begin(), text.end(), [](char byte) {
            return static_cast<unsigned char>(byte) < ' ' || byte == '\x7F';
        });
        const bool is_padded = field.find_first_not_of('\0', text.size()) == std::string_view::npos;
        return answer(is_text && is_padded && text.size() < size, field.size(), size);
    }

private:
    std::string_view _text;
    bool _is_all;
};

// ---- marks

/** Bytes at fixed places: the first ones, and some further on where the first alone are not enough. */
struct Mark {
    const char *name;
    std::string_view first;
    std::size_t offset = 0;
    std::string_view further = {};
};

// A report begins with its type, event, component and category: no mark has the ids of one that a QOR sends.
constexpr std::array kMarks = {
    Mark{"an ELF program or library", "\177ELF"sv},
    Mark{"a ZIP archive", "PK\3\4"sv},
    Mark{"a ZIP archive", "PK\5\6"sv},
    Mark{"a PNG image", "\x89PNG\r\n\x1A\n"sv},
    Mark{"a JPEG image", "\xFF\xD8\xFF\xDB"sv},
    Mark{"a JPEG image", "\xFF\xD8\xFF\xE0"sv},
    Mark{"a JPEG image", "\xFF\xD8\xFF\xE1"sv},
    Mark{"a GIF image", "GIF8"sv, 5, "a"sv},
    Mark{"a PDF document", "%PDF-"sv},
    Mark{"an xz file", "\3757zXZ\0"sv},
    Mark{"a bzip2 file", "BZh"sv, 4, "1AY&SY"sv},
    Mark{"an lz4 file", "\x04\x22\x4D\x18"sv},
    Mark{"a 7z archive", "7z\xBC\xAF\x27\x1C"sv},
    Mark{"an ar archive", "!<arch>\n"sv},
    Mark{"a pcap file", "\xD4\xC3\xB2\xA1\2\0\4\0"sv},
    Mark{"a pcap file", "\xA1\xB2\xC3\xD4\0\2\0\4"sv},
    Mark{"a pcap file", "\x4D\x3C\xB2\xA1\2\0\4\0"sv},
    Mark{"a pcap file", "\xA1\xB2\x3C\x4D\0\2\0\4"sv},
    Mark{"a pcapng file", "\n\r\r\n"sv, 8, "\x4D\x3C\x2B\x1A"sv},
    Mark{"a pcapng file", "\n\r\r\n"sv, 8, "\x1A\x2B\x3C\x4D"sv},
    Mark{"a log of an SQLite database", "\x37\x7F\x06\x82"sv},
    Mark{"a log of an SQLite database", "\x37\x7F\x06\x83"sv},
    Mark{"a journal of an SQLite database", "\xD9\xD5\x05\xF9\x20\xA1\x63\xD7"sv},
};

Answer has_mark(const Sample &sample, const Mark &mark) {
    return both(sample.has(0, mark.first), sample.has(mark.offset, mark.further));
}

// ---- what takes more than a mark

Answer is_records(const Sample &sample) {
    constexpr std::size_t kText = sizeof RvStateCaptureRecord::title;
    constexpr std::string_view kSerializedValue("\1\0\0\0", 4);
    constexpr std::string_view kTagOfItsEncoding = "\xD9\xD9\xF7"; // CBOR that describes itself
    // Type codes are small numbers. Where these three bytes stand, a report has its event, component and category.
    Answer answer = sample.has(1, "\0\0\0"sv);
    answer = both(answer, sample.has_text_field(offsetof(RvStateCaptureRecord, decoder_plug_in), kText));
    answer = both(answer, sample.has_text_field(offsetof(RvStateCaptureRecord, decoder_type), kText));
    answer = both(answer, sample.has_text_field(offsetof(RvStateCaptureRecord, title), kText));
    const std::string_view title = sample.part(offsetof(RvStateCaptureRecord, title), 1);
    answer = both(answer, sample.answer(title != "\0"sv, title.size(), 1));
    if (sample.part(0, kSerializedValue.size()) == kSerializedValue) {
        answer = both(answer, sample.has(sizeof(RvStateCaptureRecord), kTagOfItsEncoding));
    }
    return answer;
}

Answer is_database(const Sample &sample) { return sample.has(0, "SQLite format 3\0"sv); }

/** Of a database. */
Answer is_store(const Sample &sample) {
    constexpr std::size_t kSize = std::tuple_size_v<host::StoreHeader::Bytes>;
    const std::string_view found = sample.part(0, kSize);
    const bool holds = found.size() < kSize || host::StoreHeader(std::as_bytes(std::span(found))).is_of_store();
    return sample.answer(holds, found.size(), kSize);
}

Answer is_tar(const Sample &sample) {
    constexpr std::size_t kName = 100;
    constexpr std::size_t kMark = 257;
    const std::string_view name = sample.part(0, 1);
    return both(sample.answer(name != "\0"sv, name.size(), 1),
                both(sample.has_text_field(0, kName), sample.has(kMark, "ustar"sv)));
}

/** CBOR that describes itself, with a map, an array or a text: a record's payload without its header, for example. */
Answer is_cbor(const Sample &sample) {
    const std::string_view head = sample.part(3, 1);
    return both(sample.has(0, "\xD9\xD9\xF7"sv),
                sample.answer(head.empty() || (static_cast<unsigned char>(head[0]) >= 0x60), head.size(), 1));
}

Answer is_text(const Sample &sample) {
    constexpr std::string_view kControls = "\t\n\f\r\x1B";
    constexpr std::size_t kLeast = 48; // less is a part of a report, which is told as well
    constexpr std::size_t kLongestSequence = 4;
    std::string_view left = sample.text();
    while (!left.empty()) {
        const std::size_t length = host::utf8_sequence_length(left);
        if (length == 0 && left.size() < kLongestSequence && static_cast<unsigned char>(left.front()) >= 0xC2) {
            break; // goes on behind the sample
        }
        const bool is_control = host::control_character_length(left) != 0;
        if (length == 0 || (is_control && kControls.find(left.front()) == std::string_view::npos)) {
            return Answer::No;
        }
        left.remove_prefix(length);
    }
    if (!sample.is_all()) {
        return Answer::Open;
    }
    return sample.text().size() < kLeast ? Answer::No : Answer::Yes;
}

/** Of a text. */
Content kind_of_text(std::string_view text) {
    constexpr std::size_t kEnough = 16;
    std::string start;
    for (const char c : text) {
        if (start.size() < kEnough && std::string_view(" \t\r\n").find(c) == std::string_view::npos) {
            start += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    if (start.starts_with("<?xml")) {
        return {ContentKind::Foreign, "an XML document"};
    }
    if (start.starts_with("<!doctypehtml") || start.starts_with("<html")) {
        return {ContentKind::Foreign, "an HTML page"};
    }
    if (start.starts_with("{\"") || start.starts_with("[{")) {
        return {ContentKind::Foreign, "JSON"};
    }
    return {ContentKind::Text, "a text file"};
}

/** A kind of content, with the question whether this is it. */
struct Candidate {
    Answer answer;
    Content content;
};

/** Everything that content can be but a dump. Of two that both fit, the first is taken. */
std::vector<Candidate> candidates(const Sample &sample) {
    std::vector<Candidate> all = {
        {sample.text().empty() ? sample.answer(true, 0, sample.is_all() ? 0 : 1) : Answer::No,
         {ContentKind::Empty, "an empty file"}},
        {both(is_database(sample), is_store(sample)), {ContentKind::Store, "an analytics store"}},
        {is_database(sample), {ContentKind::Foreign, "an SQLite database"}},
    };
    for (const Mark &mark : kMarks) {
        all.push_back({has_mark(sample, mark), {ContentKind::Foreign, mark.name}});
    }
    all.push_back({is_records(sample), {ContentKind::Records, "a state-capture record"}});
    all.push_back({is_tar(sample), {ContentKind::Foreign, "a tar archive"}});
    all.push_back({is_cbor(sample), {ContentKind::Foreign, "CBOR without the header of a record"}});
    all.push_back({is_text(sample), kind_of_text(sample.text())});
    return all;
}

Answer is_gzip(const Sample &sample) {
    constexpr std::size_t kHead = 10;
    const std::string_view head = sample.part(0, kHead);
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(at < head.size() ? head[at] : '\0'); };
    const bool has_usual_fields = byte(3) < 0x20 && (byte(8) == 0 || byte(8) == 2 || byte(8) == 4) &&
                                  (byte(9) <= 13 || byte(9) == 0xFF); // flags, level, system
    return both(sample.has(0, "\x1F\x8B\x08"sv), sample.answer(has_usual_fields, head.size(), kHead));
}

/** A frame, or one that is to be skipped before it. */
Answer is_zstd(const Sample &sample) {
    const std::string_view head = sample.part(0, 1);
    const bool may_be_skipped = head.empty() || (static_cast<unsigned char>(head[0]) & 0xF0) == 0x50;
    const Answer skipped = both(sample.answer(may_be_skipped, head.size(), 1), sample.has(1, "\x2A\x4D\x18"sv));
    const Answer frame = sample.has(0, "\x28\xB5\x2F\xFD"sv);
    return frame == Answer::No ? skipped : frame;
}

} // namespace

std::optional<Content> content_of(std::span<const std::byte> bytes, bool is_all) {
    for (const Candidate &candidate : candidates(Sample(bytes, is_all))) {
        if (candidate.answer != Answer::No) {
            return candidate.answer == Answer::Yes ? std::optional(candidate.content) : std::nullopt;
        }
    }
    return Content{ContentKind::Dump, "a dump"};
}

std::optional<Packing> packing_of(std::span<const std::byte> bytes, bool is_all) {
    const Sample sample(bytes, is_all);
    const std::pair<Answer, Packing> packings[] = {{is_gzip(sample), Packing::Gzip}, {is_zstd(sample), Packing::Zstd}};
    for (const auto &[answer, packing] : packings) {
        if (answer != Answer::No) {
            return answer == Answer::Yes ? std::optional(packing) : std::nullopt;
        }
    }
    return Packing::None;
}

} // namespace cli
