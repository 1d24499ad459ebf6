// Prints the fields of one report of a dump, each with its offset, kind of value and unit, with the decoder's C
// library:
//
//   fields drvx.bin 3

#include <array>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

#include <qordecoder.h>

namespace {

using Report = std::array<char, QORDECODER_REPORT_SIZE>;

void print_value(const qordecoder_value &value) {
    switch (value.field->kind) {
    case QORDECODER_NUMBER:
    case QORDECODER_CONSTANT:
    case QORDECODER_SUBJECT:
        std::cout << value.number;
        if (value.text != nullptr) {
            std::cout << " (" << value.text << ")";
        }
        break;
    case QORDECODER_HEXADECIMAL:
        std::cout << "0x" << std::hex << value.number << std::dec;
        break;
    case QORDECODER_TEXT:
        std::cout << std::string_view(value.text, value.size);
        break;
    case QORDECODER_FIXED_POINT:
        std::cout << value.real;
        break;
    case QORDECODER_BYTES:
    case QORDECODER_COUNTED_BYTES:
        std::cout << std::hex << std::setfill('0');
        for (const unsigned byte : std::span(value.bytes, value.size)) {
            std::cout << std::setw(2) << byte;
        }
        std::cout << std::dec << std::setfill(' ');
        break;
    default:
        std::cout << "(of a kind that this program does not know)";
    }
}

void print_fields(const Report &report) {
    std::array<qordecoder_value, QORDECODER_MOST_FIELDS> values{};
    const std::size_t count = qordecoder_fields(report.data(), values.data(), values.size());
    for (const qordecoder_value &value : std::span(values).first(count)) {
        std::cout << std::left << std::setw(18) << value.layout->name << std::setw(22) << value.field->name
                  << std::right << std::setw(2) << value.field->offset << "  ";
        print_value(value);
        if (value.field->unit != nullptr && *value.field->unit != '\0') {
            std::cout << " " << value.field->unit;
        }
        std::cout << "\n";
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: " << argv[0] << " DUMP NUMBER\n";
        return 2;
    }
    std::ifstream dump(argv[1], std::ios::binary);
    Report report{};
    dump.seekg(static_cast<std::streamoff>(std::strtoul(argv[2], nullptr, 10) * report.size()));
    if (!dump.read(report.data(), report.size())) {
        std::cerr << argv[1] << ": has no report " << argv[2] << "\n";
        return 1;
    }
    print_fields(report);
    return 0;
}
