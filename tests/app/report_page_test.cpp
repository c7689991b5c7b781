// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/report_page.h>

#include <algorithm>

#include <gmock/gmock.h>

#include <apps/gas/page/page_text.h>

namespace {

using namespace gas_app;
using testing::HasSubstr;
using testing::Not;

std::string encode(const std::string& text) {
    const std::vector<unsigned char> bytes(text.begin(), text.end());
    return encode_base64(bytes);
}

} // namespace

TEST(ReportPage, EncodesBytesInBase64) {
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("f"), "Zg==");
    EXPECT_EQ(encode("fo"), "Zm8=");
    EXPECT_EQ(encode("foo"), "Zm9v");
    EXPECT_EQ(encode("foobar"), "Zm9vYmFy");
    EXPECT_EQ(encode("\xff\xfe\xfd"), "//79");
}

TEST(ReportPage, NamesHashesAsPoliciesDo) {
    EXPECT_EQ(get_policy_source("666f6f"), "'sha256-Zm9v'");
}

TEST(ReportPage, EscapesTexts) {
    EXPECT_EQ(escape_html("<a href=\"x\">'&"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;");
    EXPECT_EQ(escape_script_json("{\"a\":\"</script><!--\"}"),
              "{\"a\":\"\\u003c/script>\\u003c!--\"}");
}

TEST(ReportPage, FillsPlacesOnce) {
    const std::pair<std::string_view, std::string> texts[] = {{"a", "{{b}}"}, {"b", "2"}};
    EXPECT_EQ(fill_places("1 {{a}} {{b}} 3", texts), "1 {{b}} 2 3");
    EXPECT_THROW(fill_places("{{c}}", texts), std::logic_error);
}

TEST(ReportPage, HarmfulNamesStayText) {
    ReportSubject subject;
    subject.name = "</script><img src=x onerror=alert(1)>\xff";
    const ReportInfo info{subject.name, "0", "now", 1, "sse2", {}};
    const std::string page = make_report_page({subject}, info);
    EXPECT_THAT(page, Not(HasSubstr("<img src=x")));
    EXPECT_THAT(page, HasSubstr("&lt;/script&gt;&lt;img src=x onerror=alert(1)&gt;"));
}

TEST(ReportPage, LeavesOutTheSmallestBoxesOfAPageThatIsTooLarge) {
    ShownLevel level;
    level.box_count = 4000;
    for (unsigned number = 0; number < 4000; ++number) {
        const float size = 1.0f + static_cast<float>(number * 2654435761u % 1000003u);
        level.boxes.push_back(
            {{{0.0f, 0.0f, 0.0f}, {size, size, size}}, number, 0, 1, 1, true, 1.0});
    }
    const ReportTree tree{"t", TreeKind::plain, false, {}, 1.0, 1.0, {level}};
    const ReportSubject subject{"s", 1, 1, {}, {}, {}, {{"p", 1, {}, {tree}}}, 0, {}};
    const ReportInfo info{"t", "0", "now", 1, "sse2", {}};
    const std::size_t whole = make_report_page({subject}, info).size();
    const std::string page = make_report_page({subject}, info, whole - 6'000);
    EXPECT_LE(page.size(), whole - 6'000);
    EXPECT_THAT(page, HasSubstr("\"count\":4000"));
    ShownLevel kept = level;
    kept.keep_largest(10);
    ASSERT_EQ(kept.boxes.size(), 10u);
    for (const TreeBox& box : level.boxes) {
        const bool is_kept =
            std::any_of(kept.boxes.begin(), kept.boxes.end(),
                        [&](const TreeBox& one) { return one.number == box.number; });
        const float least = std::min_element(kept.boxes.begin(), kept.boxes.end(),
                                             [](const TreeBox& a, const TreeBox& b) {
                                                 return a.box.max.x < b.box.max.x;
                                             })
                                ->box.max.x;
        EXPECT_EQ(is_kept, box.box.max.x >= least);
    }
}
