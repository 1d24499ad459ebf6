#include <gtest/gtest.h>

#include "decoder/ZELLogDecoder.h"
#include "tests/decoder/report_builder.h"

namespace {

constexpr std::uint8_t kControl = 8;

ReportBuilder report_of_type(std::uint8_t type) { return {type, 0, 0, kControl}; }

const PayloadRow kRows[] = {
    {"long data of 3 bytes: subtype 1, packet size 20, offset 65535",
     report_of_type(1).u16(16, 1).u16(18, 20).u16(20, 3).u16(22, 65535).bytes(24, {0, 255, 16, 99}),
     " 'subtype':         1, 'packet-size':        20, 'data-length':         3, 'data-offset':     65535,"
     " 'raw-data':[0,255,16],"},
    {"long data of one byte: the dump is padded to ten characters", report_of_type(1).u16(20, 1).u8(24, 7),
     " 'subtype':         0, 'packet-size':         0, 'data-length':         1, 'data-offset':         0,"
     " 'raw-data':       [7],"},
    {"long data of no byte: an empty dump after eight blanks", report_of_type(1).u16(20, 0).counting(24, 47),
     " 'subtype':         0, 'packet-size':         0, 'data-length':         0, 'data-offset':         0,"
     " 'raw-data':        [],"},
    {"long data that claims 100 bytes: the 24 of the report", report_of_type(1).u16(20, 100).counting(24, 47),
     " 'subtype':         0, 'packet-size':         0, 'data-length':       100, 'data-offset':         0,"
     " 'raw-data':[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24],"},
    {"long data that claims 65535 bytes: the 24 of the report", report_of_type(1).u16(20, 65535).counting(24, 47),
     " 'subtype':         0, 'packet-size':         0, 'data-length':     65535, 'data-offset':         0,"
     " 'raw-data':[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24],"},
    {"short data: sizes are constants whatever the bytes hold", report_of_type(2).u16(16, 513).counting(18, 47),
     " 'subtype':       513, 'packet-size':        30, 'data-length':        30, 'data-offset':         0,"
     " 'raw-data':[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30],"},
    {"event: six words in decimal, then in hexadecimal after a padded apostrophe",
     report_of_type(3).u32(16, 255).u32(20, 0).u32(24, 0xFFFFFFFF).u32(28, 16).u32(32, 10).u32(36, 0x0ABCDEF0),
     " 'arg1':       255, 'arg2':         0, 'arg3':4294967295, 'arg4':        16, 'arg5':        10,"
     " 'arg6': 180150000,"
     " 'xarg1':         'ff', 'xarg2':         '0', 'xarg3':         'ffffffff', 'xarg4':         '10',"
     " 'xarg5':         'a', 'xarg6':         'abcdef0',"},
    {"trigger: one word under two keys, and the constant without a width",
     report_of_type(4).u32(16, 5).u32(20, 77).u32(24, 6), " 'trigger':1, 'thread-id':        77, 'arg':        77,"},
    {"function",
     report_of_type(5).u32(16, 1).u32(20, 20).u32(24, 300).u32(28, 4000).u32(32, 50000).u32(36, 600000).u32(40, 9),
     " 'function-id':         1, 'extra-id':        20, 'thread-id':       300, 'duration':      4000,"
     " 'depth':     50000, 'thread_duration':    600000,"},
    {"sensor info with a name of all 12 characters",
     report_of_type(8)
         .text(35, "abcdefghijkl")
         .u8(47, 'X')
         .u32(16, 1)
         .u32(20, 2)
         .u32(24, 3)
         .u32(28, 4)
         .bytes(32, {1, 255, 2}),
     " 'name':  'abcdefghijkl', 'report-interval':         1, 'batch-interval':         2,"
     " 'threshold':         3, 'time-limit':         4, 'connected':         1, 'decimation':       255,"
     " 'gyroPowerMode':         2,"},
    {"sensor info whose name starts with a zero byte", report_of_type(8).text(36, "hidden"),
     " 'name':              '', 'report-interval':         0, 'batch-interval':         0,"
     " 'threshold':         0, 'time-limit':         0, 'connected':         0, 'decimation':         0,"
     " 'gyroPowerMode':         0,"},
    {"ext-function with a name of all 16 characters, wider than its field",
     report_of_type(9).text(32, "0123456789abcdef").u32(28, 1).u32(16, 2).u32(20, 3).u32(24, 4),
     " 'function':'0123456789abcdef', 'arg':         1, 'task':         2, 'thread':         3,"
     " 'duration':         4,"},
    {"ext-function with a short name", report_of_type(9).text(32, "run"),
     " 'function':     'run', 'arg':         0, 'task':         0, 'thread':         0, 'duration':         0,"},
    {"ext-function whose name holds apostrophes, a newline and bytes that are not UTF-8",
     report_of_type(9).bytes(32, {'\'', '\n', 0xFF, 0x80, 0, 'x'}),
     " 'function':    ''\n\xFF\x80', 'arg':         0, 'task':         0, 'thread':         0,"
     " 'duration':         0,"},
    {"annotation: the entry's id and its tag are the same bytes",
     report_of_type(11).u64(16, 0xFFFFFFFFFFFFFFFF).text(24, "AB").u32(32, 8).u32(36, 9),
     " 'global-id':18446744073709551615, 'entry-id':     16961, 'entry':      'AB', 'arg1':         8,"
     " 'arg2':         9,"},
    {"annotation whose tag fills all 8 bytes and its field",
     report_of_type(11).u64(16, 9'999'999'999).text(24, "aaaaaaaa").u8(32, 'b'),
     " 'global-id':9999999999, 'entry-id':7016996765293437281, 'entry':'aaaaaaaa', 'arg1':        98,"
     " 'arg2':         0,"},
    {"decimation info: the name is at 36, after the intervals",
     report_of_type(12).u64(16, 10'000'000'000).u32(24, 1).u32(28, 2).u32(32, 3).text(36, "accel"),
     " 'name':         'accel', 'sample-interval':         1, 'report-interval':         2,"
     " 'batch-interval':         3, 'next-dispatch':10000000000,"},
};

TEST(GenericPayload, PrintsTheLayoutOfItsType) {
    for (const PayloadRow &row : kRows) {
        SCOPED_TRACE(row.meaning);

        EXPECT_EQ(payload_text(ZELLogDecoder::_default, row.report), row.text);
    }
}

TEST(GenericPayload, TypesWithoutALayoutPrintNothing) {
    for (unsigned type = 0; type < 256; ++type) {
        const bool has_layout = (type >= 1 && type <= 5) || type == 8 || type == 9 || type == 11 || type == 12;
        const _QorProfileReport report = report_of_type(static_cast<std::uint8_t>(type)).counting(16, 47);

        EXPECT_EQ(payload_text(ZELLogDecoder::_default, report).empty(), !has_layout) << type;
    }
}

TEST(GenericPayload, DependsOnTheTypeAlone) {
    const _QorProfileReport plain = ReportBuilder(5, 0, 0, 8).counting(16, 47);
    const _QorProfileReport other = ReportBuilder(5, 17, 200, 2).counting(16, 47);

    EXPECT_EQ(payload_text(ZELLogDecoder::_default, plain), payload_text(ZELLogDecoder::_sensor, other));
}

} // namespace
