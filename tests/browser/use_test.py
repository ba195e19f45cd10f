"""The page in use: by keys alone, on a phone, in a light and in a dark room."""

from support import FAINT, NAMELESS, PHONE, Keys, PageTest, connections, main, run_library, until, wifi


class Keyboard(PageTest):
    def setUp(self):
        super().setUp()
        self.collector.post("/connection", connections(*(wifi(ssid=f"network {at:02}") for at in range(30))))
        self.wait_for_count(30)

    def current(self):
        return self.js("""const id = document.getElementById('list').getAttribute('aria-activedescendant');
            const row = id && document.getElementById(id);
            return row && [row.querySelector('.title').textContent, row.getAttribute('aria-selected')]""")

    def wait_for_current(self, title):
        until(lambda: self.current() == [title, "true"], f"{title}, where {self.current()} is current")

    def test_the_slash_leads_to_the_filter_and_escape_clears_and_leaves_it(self):
        self.press("/")
        self.assertEqual(self.focused(), "text")
        self.press("network 07")
        self.wait_for_rows(["network 07"])
        self.press(Keys.ESCAPE)
        until(lambda: len(self.rows()) == 30, "all")
        self.assertEqual(self.js("return document.getElementById('text').value"), "")
        self.press(Keys.ESCAPE)
        self.assertEqual(self.focused(), "list")

    def test_a_slash_in_the_filter_is_text(self):
        self.press("/", "/")
        self.assertEqual(self.js("return document.getElementById('text').value"), "/")

    def test_the_list_is_walked_and_each_entry_read(self):
        self.press("/", Keys.ARROW_DOWN)
        self.assertEqual(self.focused(), "list")
        self.wait_for_current("network 29")
        self.press(Keys.ARROW_DOWN)
        self.wait_for_current("network 28")
        until(lambda: self.text("#title") == "network 28", "what is current is shown")
        self.press(Keys.END)
        self.wait_for_current("network 00")
        self.assertTrue(self.js("""const row = document.getElementById('row-record-1').getBoundingClientRect();
            const list = document.getElementById('scroll').getBoundingClientRect();
            return row.top >= list.top - 1 && row.bottom <= list.bottom + 1"""), "the current row is in view")
        self.press(Keys.ARROW_DOWN)
        self.wait_for_current("network 00")
        self.press(Keys.PAGE_UP)
        self.wait_for_current("network 10")
        self.press(Keys.HOME)
        self.wait_for_current("network 29")
        self.press(Keys.ARROW_UP)
        self.wait_for_current("network 29")

    def test_the_list_shows_where_one_is_who_comes_by_the_tab_key(self):
        self.press("/", Keys.TAB, Keys.TAB)
        self.assertEqual(self.focused(), "list")
        self.wait_for_current("network 29")

    def test_the_list_grows_under_one_who_walks_on(self):
        self.collector.post("/connection", connections(*(wifi(ssid=f"more {at}") for at in range(200))))
        self.wait_for_count(230)
        self.press("/", Keys.ARROW_DOWN, Keys.END)
        self.wait_for_current("more 0")
        self.press(Keys.ARROW_DOWN)
        self.wait_for_current("network 29")
        self.assertEqual(len(self.rows()), 230)

    def test_enter_leads_into_the_record_and_escape_back(self):
        self.press("/", Keys.ARROW_DOWN, Keys.ARROW_DOWN, Keys.ENTER)
        until(lambda: self.focused() == "title", "the record's title")
        self.press(Keys.ESCAPE)
        self.assertEqual(self.focused(), "list")
        self.wait_for_current("network 28")
        self.press(Keys.ESCAPE)
        until(lambda: self.text("#hint") == "Choose a record to see its fields.", "no record")

    def test_what_arrives_does_not_move_the_reader(self):
        self.press("/", Keys.ARROW_DOWN, Keys.ARROW_DOWN)
        self.wait_for_current("network 28")
        self.collector.post("/connection", connections(wifi(ssid="one more")))
        self.wait_for_count(31)
        self.wait_for_current("network 28")
        self.assertEqual(self.text("#title"), "network 28")
        self.press(Keys.ARROW_UP)
        self.wait_for_current("network 29")

    def test_the_tab_key_reaches_everything_in_order_and_shows_where_it_is(self):
        self.open("#record-30")
        self.wait_for_current("network 29")
        reached = []
        for _ in range(12):
            self.press(Keys.TAB)
            name, outline = self.js("""const at = document.activeElement;
                const shown = at.id === 'list' ? document.querySelector('[aria-selected=true]')
                  : at.type === 'radio' ? at.parentElement : at;
                const style = getComputedStyle(shown);
                return [at.id || at.name || at.tagName, style.outlineStyle !== 'none' && parseFloat(style.outlineWidth)]""")
            if name == "BODY":
                break
            reached.append(name)
            self.assertGreaterEqual(outline or 0, 2, f"the focus is not seen on {name}")
        self.assertEqual([name for name in reached if name not in ("A", "scroll")],
                         ["text", "type", "list", "SUMMARY", "SUMMARY"])

    def test_the_types_are_chosen_with_the_arrows(self):
        self.collector.post("/nowhere", "-")
        self.wait_for_count(31)
        self.press("/", Keys.TAB, Keys.ARROW_RIGHT)
        until(lambda: len(self.rows()) == 30, "connections alone")


class Looks(PageTest):
    def setUp(self):
        super().setUp()
        run_library(self.collector, self.folder)
        self.collector.post("/connection", "<broken")
        self.wait_for_count(12)

    def test_every_text_stands_out_in_both_schemes(self):
        for scheme in ("light", "dark"):
            self.browser.emulate(scheme=scheme)
            self.filter_text("head office stop")
            self.wait_for_rows(["Head office"])
            self.pick(0)
            until(lambda: self.text("#relation"), "the changes")
            self.filter_text("")
            until(lambda: len(self.rows()) == 12, "all")
            with self.subTest(scheme):
                seen, faint = self.js(FAINT)
                self.assertGreater(seen, 80)
                self.assertEqual(faint, [])

    def test_both_schemes_differ_and_the_empty_state_stands_out(self):
        grounds = set()
        self.collector.end()
        for file in self.folder.glob("collector.db*"):
            file.unlink()
        self.collector = self.start_collector()
        self.open()
        until(lambda: self.text("#empty"), "the empty state")
        for scheme in ("light", "dark"):
            self.browser.emulate(scheme=scheme)
            self.picture(f"empty-{scheme}")
            grounds.add(self.js("return getComputedStyle(document.body).backgroundColor"))
            self.assertEqual(self.js(FAINT)[1], [])
        self.assertEqual(len(grounds), 2)

    def test_a_phone_shows_the_list_then_the_record_without_scrolling_sideways(self):
        self.collector.post("/connection", connections(
            wifi(ssid="W" * 300, **{"aVeryLongNameOfAFieldThatHasNoBlankInIt": "x" * 300})))
        self.wait_for_count(13)
        self.browser.emulate(PHONE)
        fits = lambda: self.js("""return [document.documentElement.scrollWidth, innerWidth,
            ...[...document.querySelectorAll('main *')].filter((element) => element.checkVisibility() &&
              ['auto', 'scroll'].includes(getComputedStyle(element).overflowX) &&
              element.scrollWidth > element.clientWidth).map((element) => element.outerHTML.slice(0, 80))]""")
        self.assertEqual(fits(), [360, 360])
        self.assertEqual(self.text("#detail"), "")
        self.picture("phone-list")
        self.pick(0)
        until(lambda: self.text("#title"), "the record")
        self.assertEqual(self.text("#list"), "")
        self.assertEqual(fits(), [360, 360])
        for part in ("record", "request"):
            self.driver.find_element("css selector", f"#{part}-part summary").click()
            until(lambda: self.text(f"#{part}-text") not in ("", "Loading…"), part)
        self.assertEqual(fits(), [360, 360])
        self.picture("phone-detail")

        self.driver.find_element("id", "back").click()
        until(lambda: self.text("#list"), "the list")
        self.assertEqual(self.focused(), "list")
        self.pick(2)
        until(lambda: self.text("#title"), "another record")
        self.driver.back()
        until(lambda: self.text("#list"), "the list, by the browser's own way back")

    def test_everything_that_takes_the_focus_has_a_name(self):
        self.pick(2)
        until(lambda: self.text("#title"), "a record")
        for part in self.driver.find_elements("css selector", "summary"):
            part.click()
        until(lambda: self.text("#request-text pre"), "the request")
        self.assertEqual(self.js(NAMELESS), [])

    def test_the_figures_and_the_list_have_their_roles(self):
        self.assertEqual(self.js("""return [...document.querySelectorAll('[role]')].map((e) => e.getAttribute('role'))
            .filter((role, at, all) => all.indexOf(role) === at).sort()"""),
            ["alert", "img", "listbox", "option", "search", "status"])
        self.assertEqual(self.complaints(), [])

    def test_the_whole_page_is_the_servers_own(self):
        addresses = self.js("return performance.getEntriesByType('resource').map((entry) => entry.name)")
        self.assertGreater(len(addresses), 5)
        self.assertEqual([a for a in addresses if not a.startswith(self.collector.address + "/_")], [])


if __name__ == "__main__":
    main(__name__)
