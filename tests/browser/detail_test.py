"""One record, read: its fields and what changed, its text, its request; and texts that mean harm."""

import datetime

from support import PageTest, connections, main, run_library, until, wifi


class Detail(PageTest):
    def open_record(self, *, row=0, title):
        self.pick(row)
        until(lambda: self.text("#title") == title, f"the record {title}")

    def unfold(self, part):
        self.driver.find_element("css selector", f"#{part}-part summary").click()
        until(lambda: self.text(f"#{part}-text") not in ("", "Loading…"), f"the {part}'s text")

    def pre(self, part, index=-1):
        return self.js("return [...document.querySelectorAll(arguments[0])].at(arguments[1]).textContent",
                       f"#{part}-text pre", index)


class Fields(Detail):
    def test_are_shown_by_name_in_their_order(self):
        self.collector.post("/device", "<deviceList><mobileDevice><deviceModel>LTE</deviceModel><firmware></firmware>"
                                       "<busType>USB &amp; more</busType></mobileDevice></deviceList>")
        self.wait_for_count(1)
        self.open_record(title="LTE")
        self.assertEqual(list(self.fields().items()), [
            ("deviceModel", ("LTE", "", None)), ("firmware", ("empty", "", None)), ("busType", ("USB & more", "", None))])
        self.assertEqual(self.text("#only"), "")

    def test_of_a_stop_are_marked_where_they_differ_from_the_start(self):
        run_library(self.collector, self.folder)
        self.wait_for_count(11)
        self.filter_text("café stop")
        self.wait_for_rows(['Café <Bar> & "Friends" ☕'])
        self.open_record(title='Café <Bar> & "Friends" ☕')
        changed = {name: field for name, field in self.fields().items() if field[1]}
        self.assertEqual(changed, {
            "eventTime": ("2026-11-21T12:00:00Z", "changed", "2026-11-21T09:30:00Z"),
            "event": ("stop", "changed", "start"),
            "recordIndex": ("1", "changed", "0"),
            "connectionStatus": ("disconnected", "changed", "connected"),
            "ipAddress": ("empty", "changed", "192.0.2.17"),
            "disconnectReason": ("user", "new", None),
            "bytesSent": ("1204511", "changed", "empty"),
            "bytesReceived": ("48730112", "changed", "empty"),
        })
        self.assertIn("8 fields differ from its start", self.text("#relation"))
        self.assertEqual(self.fields()["clientId"], ("client-4711", "", None))
        self.picture("detail")
        self.browser.emulate(scheme="dark")
        self.picture("detail-dark")

        self.driver.find_element("id", "only-changes").click()
        self.assertEqual(self.fields(), changed)
        self.driver.find_element("id", "only-changes").click()

        self.driver.find_element("css selector", "#relation a").click()
        until(lambda: self.fields()["event"] == ("start", "", None), "the start")

    def test_that_are_gone_with_the_stop_are_shown(self):
        run_library(self.collector, self.folder)
        self.wait_for_count(11)
        self.filter_text("head office stop")
        self.wait_for_rows(["Head office"])
        self.open_record(title="Head office")
        fields = self.fields()
        self.assertEqual(fields["vpnDisconnectReason"], ("Disconnected By User", "new", None))
        self.assertEqual(fields["vpnSetupSeconds"], ("", "gone", "2"))

    def test_of_a_stop_are_compared_with_its_own_connection(self):
        self.collector.post("/connection", connections(
            wifi(clientId="ada", sessionId="s1", ssid="right", band="5 GHz"),
            wifi(clientId="bob", sessionId="s1", ssid="other client"),
            wifi(clientId="ada", sessionId="s2", ssid="other session"),
            "<connectionRecord><clientId>ada</clientId><event>start</event><mobile><sessionId>s1</sessionId>"
            "<carrier>other medium</carrier></mobile></connectionRecord>",
            wifi("stop", clientId="ada", sessionId="s1", ssid="right", band="2.4 GHz"),
        ))
        self.wait_for_count(5)
        self.open_record(title="right")
        self.assertEqual({name: field for name, field in self.fields().items() if field[1]}, {
            "event": ("stop", "changed", "start"),
            "recordIndex": ("1", "changed", "0"),
            "band": ("2.4 GHz", "changed", "5 GHz"),
        })

    def test_of_a_stop_without_its_start_are_not_marked(self):
        self.collector.post("/connection", connections(wifi(sessionId="s1", ssid="one"),
                                                       wifi("stop", sessionId="s2", ssid="two")))
        self.wait_for_count(2)
        self.open_record(title="two")
        self.assertEqual({field[1] for field in self.fields().values()}, {""})
        self.assertEqual(self.text("#relation"), "The start that this stop belongs to has not arrived.")

    def test_that_differ_beyond_what_the_list_keeps_are_marked(self):
        long = "x" * 100_000
        self.collector.post("/connection", connections(wifi(ssid="a", band=long + "1"), wifi("stop", ssid="a", band=long + "2")))
        self.wait_for_count(2)
        self.open_record(title="a")
        until(lambda: self.fields()["band"][1] == "changed", "the change at the end")


class Text(Detail):
    def test_of_a_record_is_laid_out_or_as_it_came(self):
        record = wifi(ssid="Café & <b>", band="")
        self.collector.post("/connection", connections(record))
        self.wait_for_count(1)
        self.open_record(title="Café & <b>")
        self.unfold("record")
        self.assertEqual(self.pre("record").split("\n"), [
            "<connectionRecord>", "  <event>start</event>", "  <recordIndex>0</recordIndex>", "  <wifi>",
            "    <ssid>Café &amp; &lt;b&gt;</ssid>", "    <band></band>", "  </wifi>", "</connectionRecord>"])
        self.driver.find_element("css selector", "#record-text input").click()
        self.assertEqual(self.pre("record"), record)

    def test_of_the_request_has_its_head_and_its_body(self):
        body = connections(wifi(ssid="a"), wifi(ssid="b"))
        self.collector.post("/connection", body)
        self.wait_for_count(2)
        self.open_record(title="b")
        self.unfold("request")
        head = self.pre("request", 0).split("\n")
        self.assertEqual(head[0], "POST /connection")
        self.assertIn("content-type: text/xml; charset=utf-8", [line.lower() for line in head])
        self.assertIn(f"{len(body)} bytes, answered 200.", self.text("#request-text .note"))
        self.driver.find_element("css selector", "#request-text input").click()
        self.assertEqual(self.pre("request"), body)
        self.picture("request")

    def test_of_a_body_that_is_no_text_is_its_bytes(self):
        self.collector.post("/upload", b"\xff\x00A<")
        self.wait_for_count(1)
        self.open_record(title="/upload")
        self.unfold("request")
        self.driver.find_element("css selector", "#request-text input").click()
        self.assertEqual(self.pre("request"), "00000000  ff 00 41 3c" + " " * 38 + "..A<")

    def test_of_another_record_comes_when_that_is_chosen(self):
        self.collector.post("/connection", connections(wifi(ssid="one"), wifi(ssid="two")))
        self.wait_for_count(2)
        self.open_record(title="two")
        self.unfold("record")
        self.open_record(row=1, title="one")
        until(lambda: "<ssid>one</ssid>" in self.text("#record-text"), "the other's text")

    def test_that_cannot_be_had_says_so_and_comes_later(self):
        self.collector.post("/connection", connections(wifi(ssid="one")))
        self.wait_for_count(1)
        self.open_record(title="one")
        self.collector.end()
        self.wait_for_state("lost")
        self.unfold("record")
        self.assertIn("This cannot be shown now.", self.text("#record-text"))
        self.collector = self.start_collector(self.collector.port)
        self.wait_for_state("live")
        until(lambda: "<ssid>one</ssid>" in self.text("#record-text"), "the text, now that it can be had")


class Time(Detail):
    def test_of_arrival_is_in_the_viewers_zone_and_whole_on_request(self):
        self.browser.emulate(zone="Pacific/Kiritimati")
        self.collector.post("/connection", connections(wifi(ssid="one")))
        self.wait_for_count(1)
        self.open_record(title="one")
        iso = self.collector.records()[0]["time"]
        arrived = datetime.datetime.fromisoformat(iso.replace("Z", "+00:00"))
        there = arrived + datetime.timedelta(hours=14)
        shown = self.js("const t = document.querySelector('#facts time'); return [t.textContent, t.title, t.dateTime]")
        self.assertEqual(shown[1:], [iso, iso])
        self.assertEqual(shown[0].replace("\u202f", " "),
                         f"{there:%b} {there.day}, {there.year}, {there:%I:%M:%S %p}")


class Address(Detail):
    def test_of_a_record_opens_it(self):
        self.collector.post("/connection", connections(wifi(ssid="one"), wifi(ssid="two")))
        self.open("#record-1")
        until(lambda: self.text("#title") == "one", "the record of the address")


HOSTILE = {
    "script": "<script>window.harmed = 1</script>",
    "image": "<img src=x onerror='window.harmed = 1'>",
    "attribute": "\"'><svg onload=window.harmed=1>",
    "entity": "&lt;script&gt;window.harmed = 1&lt;/script&gt;",
    "template": "${window.harmed = 1}{{constructor.constructor('window.harmed = 1')()}}",
}


class Hostile(Detail):
    def test_texts_are_shown_to_the_letter_and_do_nothing(self):
        for path in ("/connection", "/<img src=x onerror=window.harmed=1>", "/queue"):
            self.collector.post(path.replace(" ", "%20").replace("<", "%3C").replace(">", "%3E"),
                                connections(*(wifi(ssid=text, connectionStatus=text, **{f"{name}Field": text})
                                              for name, text in HOSTILE.items())))
        self.collector.post("/connection", HOSTILE["script"])
        self.collector.post("/connection", connections(HOSTILE["script"] + HOSTILE["image"]))
        until(lambda: set(HOSTILE.values()) <= set(self.rows()), "all texts in the list")
        self.js("for (const part of document.querySelectorAll('details')) part.open = true")
        elements = "return document.querySelectorAll('main script, main img, #list svg, #detail svg').length"
        for row in range(len(self.rows())):
            self.pick(row)
            title = self.rows()[row]
            until(lambda: self.text("#title") == title, title)
            until(lambda: self.text("#request-text") not in ("", "Loading…"), "the request")
            for name, (value, _, _) in self.fields().items():
                if name.endswith("Field"):
                    self.assertEqual(value, HOSTILE[name.removesuffix("Field")])
            self.assertEqual(self.js(elements), 0)
        self.assertIsNone(self.js("return window.harmed ?? null"))
        self.assertEqual(self.complaints(), [])
        self.picture("hostile")

    def test_nothing_inline_may_run(self):
        self.js("""const script = document.createElement('script');
            script.textContent = 'window.harmed = 1';
            document.body.append(script);""")
        self.assertIsNone(self.js("return window.harmed ?? null"))
        until(lambda: any("Content Security Policy" in message for message in self.complaints()), "the refusal")

    def test_marks_of_direction_are_seen_and_stay_inside(self):
        name = "good\u202eexe.live\u2066\u200f\u200b end"
        self.collector.post("/connection", connections(wifi(ssid=name, band="שלום (a)")))
        self.wait_for_count(1)
        self.pick(0)
        until(lambda: "ssid" in self.fields(), "the fields")
        self.assertEqual(self.fields()["ssid"][0], "goodU+202Eexe.liveU+2066U+200FU+200B end")
        self.assertNotRegex(self.text("#detail") + self.text("#list"), "[\u200b\u200f\u202e\u2066]")
        isolated = self.js("""return [...document.querySelectorAll('#list .title, #fields td > *, #title > *')]
            .every((element) => element.tagName === 'BDI' && getComputedStyle(element).unicodeBidi === 'isolate')""")
        self.assertTrue(isolated)

    def test_a_long_value_is_cut_and_has_a_button_for_the_whole(self):
        value = "x" * (1024 * 1024 - 1) + "Z"
        self.collector.post("/connection", connections(wifi(ssid="long", band=value)))
        self.wait_for_count(1)
        self.open_record(title="long")
        until(lambda: "Show all 1,048,576 characters" in self.text("#fields"), "the value's beginning")
        self.assertLess(len(self.fields()["band"][0]), 1000)
        self.driver.find_element("css selector", "#fields button").click()
        until(lambda: self.fields()["band"][0] == value, "the whole value")
        self.unfold("record")
        until(lambda: "Show all 1,048," in self.text("#record-text"), "the record's beginning")
        self.driver.find_element("css selector", "#record-text button").click()
        until(lambda: len(self.pre("record")) > len(value), "the whole record")

    def test_texts_made_to_take_long_do_not(self):
        self.collector.post("/connection", "<" * 200_000)
        self.collector.post("/connection", "<a>" * 20_000)
        self.collector.post("/connection", connections(wifi(ssid="marks", band="\u202ea" * 40_000)))
        until(lambda: "marks" in self.rows(), "the record")
        for row in range(len(self.rows())):
            self.pick(row)
            if row == 0:
                self.unfold("request")
            until(lambda: self.text("#request-text") not in ("", "Loading…"), "the request")
            for show_all in self.driver.find_elements("css selector", "#fields button, #request-text pre button"):
                show_all.click()
            self.assertIsNotNone(self.text("#title"))


if __name__ == "__main__":
    main(__name__)
