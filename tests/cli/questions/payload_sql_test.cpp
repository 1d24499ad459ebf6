// The expressions of payload fields, computed for reports by a dialect whose expressions are their own values.

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "cli/questions/payload_sql.h"
#include "qor/field.h"

namespace {

using qor::How;

/** Expressions are the numbers that they have for one report; the rest is words that show what is asked for. */
class ComputingDialect final : public cli::SqlDialect {
public:
    explicit ComputingDialect(const _QorProfileReport &report) : _report(report) {}

    std::string shifted_right(const std::string &word, unsigned shift) const override {
        EXPECT_GT(shift, 0u);
        EXPECT_LT(shift, 32u);
        return std::to_string(number_of(word) >> shift);
    }
    std::string masked(const std::string &number, std::uint32_t mask) const override {
        return std::to_string(number_of(number) & mask);
    }
    std::string join_bits(const std::string &low, const std::string &high, unsigned shift) const override {
        EXPECT_LT(number_of(low), std::uint64_t{1} << shift);
        return std::to_string(number_of(low) | number_of(high) << shift);
    }
    std::string cast(const std::string &number, cli::ColumnType) const override {
        return number.starts_with('-') ? number : std::to_string(number_of(number));
    }
    std::string as_signed(const std::string &number, unsigned bits) const override {
        return std::to_string(static_cast<std::int64_t>(number_of(number) << (64 - bits)) >> (64 - bits));
    }
    std::string hex_of_bytes(unsigned first, const std::string &count) const override {
        return "bytes " + std::to_string(first) + " " + count;
    }
    std::string least(const std::string &a, const std::string &b) const override {
        return std::to_string(std::min(number_of(a), number_of(b)));
    }
    std::string text(unsigned first, unsigned size) const override {
        return "text " + std::to_string(first) + " " + std::to_string(size);
    }
    std::string hex_of_text(unsigned first, unsigned size) const override {
        return "hex " + std::to_string(first) + " " + std::to_string(size);
    }
    std::string subject(const std::string &number) const override {
        return "subject " + std::to_string(number_of(number));
    }

private:
    /** Of an expression: a word of the payload, or a number already. */
    std::uint64_t number_of(const std::string &expression) const {
        return expression.starts_with('w')
                   ? _report.at<std::uint32_t>(qor::kPayloadOffset + 4 * std::stoul(expression.substr(1)))
                   : std::stoull(expression);
    }

    const _QorProfileReport &_report;
};

std::string computed(const qor::Field &field, const _QorProfileReport &report, bool is_hex = false) {
    return sql_of(cli::ViewColumn{"name", cli::ColumnType::Text, false, "", "", &field, is_hex},
                  ComputingDialect(report));
}

/** Calls `check` with reports of random payloads, and with those of the least and the greatest numbers. */
template <typename Check>
void for_each_report(const Check &check) {
    std::mt19937 engine(14);
    for (int i = 0; i < 50 && !testing::Test::HasFailure(); ++i) {
        _QorProfileReport report{};
        for (std::uint8_t &byte : report.bytes) {
            byte = static_cast<std::uint8_t>(i == 0 ? 0 : i == 1 ? 0xFF : engine());
        }
        check(report);
    }
}

TEST(PayloadSqlTest, NumbersAreThoseOfTheirBytesWhereverTheyStand) {
    for_each_report([](const _QorProfileReport &report) {
        for (const std::uint16_t size : std::initializer_list<std::uint16_t>{1, 2, 4, 8}) {
            for (std::uint16_t offset = 16; offset + size <= 48; ++offset) {
                const qor::Field number{"", offset, size, How::Number};
                EXPECT_EQ(computed(number, report), std::to_string(load_number(report.bytes, number))) << offset;
                const qor::Field signed_number{"", offset, size, How::Signed};
                EXPECT_EQ(computed(signed_number, report), std::to_string(load_signed(report.bytes, signed_number)))
                    << offset;
            }
        }
    });
}

TEST(PayloadSqlTest, OtherFieldsAskForTheirBytes) {
    for_each_report([](const _QorProfileReport &report) {
        const qor::Field fixed = qor::fixed_point("", 21, 12);
        EXPECT_EQ(computed(fixed, report), std::to_string(load_signed(report.bytes, fixed)) + " / 4096");
        const std::uint64_t count = report.at<std::uint16_t>(20);
        EXPECT_EQ(computed(qor::counted_bytes("", 24, 24, 20), report),
                  "bytes 8 " + std::to_string(std::min<std::uint64_t>(count, 24)));
        EXPECT_EQ(computed(qor::bytes("", 18, 30), report), "bytes 2 30");
        EXPECT_EQ(computed(qor::text("", 35, 12), report), "text 19 12");
        EXPECT_EQ(computed(qor::text("", 35, 12), report, true), "hex 19 12");
        EXPECT_EQ(computed(qor::constant("", 30), report), "30");
        EXPECT_EQ(computed(qor::subject("", 16), report), "subject " + std::to_string(report.at<std::uint32_t>(16)));
    });
}

const cli::PayloadView &view(std::string_view name) {
    return *std::ranges::find(cli::payload_views(), name, [](const cli::PayloadView &row) { return row.name; });
}

TEST(PayloadSqlTest, ConditionsAreOverIdsAndTheVersion) {
    EXPECT_EQ(conditions_sql(view("function")), "type_id = 5");
    EXPECT_EQ(conditions_sql(view("sshb_context_5")), "category_id = 7 AND type_id = 10 AND w0 % 65536 = 5");
    EXPECT_EQ(conditions_sql(view("event")),
              "type_id = 3 AND NOT (category_id = 4 AND component_id = 0 AND event_id = 1 AND type_id = 3)"
              " AND NOT (category_id = 10 AND component_id = 0 AND event_id = 2 AND type_id = 3)");
    const auto any = [](std::uint32_t header) {
        return cli::ViewCondition{{header, qor::kTypeAlone, qor::kAnyVersion}, {}};
    };
    EXPECT_EQ(cli::conditions_sql({"", "", nullptr, {}, {any(5), any(6)}, {}}), "(type_id = 5) OR (type_id = 6)");
}

TEST(PayloadSqlTest, ALiteralMayContainApostrophes) { EXPECT_EQ(cli::sql_literal("it's"), "'it''s'"); }

} // namespace
