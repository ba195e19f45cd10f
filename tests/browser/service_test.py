"""The service page: its figures are those of what was posted, and it is of use by keys, on a phone and in the dark."""

import datetime
import json
import subprocess

from support import FAINT, NAMELESS, PATIENCE, PHONE, By, Keys, Options, PageTest, connections, main, until, wifi

NOW = datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)


def ago(**length):
    return (NOW - datetime.timedelta(**length)).strftime("%Y-%m-%dT%H:%M:%SZ")


def attempt(client, session, minutes, status, end="disconnected", **values):
    """A start and a stop a minute later, that many minutes ago."""
    stop = {"disconnectReason": values.pop("disconnectReason")} if "disconnectReason" in values else {}
    values = {"sessionId": session, **values}
    return [wifi(eventTime=ago(minutes=minutes), clientId=client, connectionStatus=status, **values),
            wifi("stop", eventTime=ago(minutes=minutes - 1), clientId=client, connectionStatus=end, **values, **stop)]


def vpn(event, minutes, **values):
    fields = {"eventTime": ago(minutes=minutes), "vpnProfile": "Head office", "vpnEvent": event, "userName": "ada", **values}
    return "<vpn>" + "".join(f"<{name}>{text}</{name}>" for name, text in fields.items()) + "<gateway>g</gateway></vpn>"


class ServiceTest(PageTest):
    def open(self, query=""):
        self.driver.get("about:blank")
        self.driver.get(f"{self.collector.address}/service{query}")
        self.wait_for_state("live")

    def card(self, name):
        return self.text(f"#{name}")

    def headlines(self, name):
        """The headlines of a card: [value, what it is]."""
        return self.js("""return [...document.querySelectorAll(`#${arguments[0]} .headline`)]
            .map((each) => [...each.children].map((part) => part.textContent.replaceAll('\\u00A0', ' ')))""", name)

    def table(self, name, at=0):
        """The rows of a card's table: {first cell: the others}; those of hidden tables, too."""
        rows = self.js("""return [...document.querySelectorAll(`#${arguments[0]} table`)[arguments[1]].tBodies[0].rows]
            .map((row) => [...row.cells].map((cell) => cell.textContent.replaceAll('\\u00A0', ' ')))""", name, at)
        return {row[0]: row[1:] for row in rows}

    def choose(self, name, option):
        self.driver.find_element(By.XPATH, f"//select[@name='{name}']/option[.='{option}']").click()
        self.wait_for_state("live")

    def post_known(self):
        """20 attempts of 4 clients: the client `loop` fails 8 of 9 times, the others succeed."""
        records = []
        for client in ("a", "b", "c"):
            for at in range(4 if client == "a" else 3):
                records += attempt(client, f"{client}{at}", 100 - at, "connected", ssid="Office", loginSeconds=str(1 + at),
                                   signalStrength="-52", radioType="802.11ax")
        records += attempt("a", "late", 80, "connected", "dropped", ssid="Office", loginSeconds="9", signalStrength="-83")
        for at in range(8):
            records += attempt("loop", f"l{at}", 60 - at, "failed", "failed", ssid="Office",
                               disconnectReason="wrong password" if at < 6 else "<b>no address</b>")
        records += attempt("loop", "l9", 50, "connected", ssid="Office", loginSeconds="2", signalStrength="-52")
        self.collector.post("/connection", connections(*records))
        self.collector.post("/application", "<sqmList>" + "".join([
            vpn("start", 90, vpnResult="success", vpnSetupSeconds="2"), vpn("stop", 30, vpnDisconnectReason="Disconnected By User"),
            vpn("start", 20, vpnResult="fail", vpnStatus="Connection Timeout"), vpn("start", 10, vpnResult="success"),
        ]) + "</sqmList>")


class Figures(ServiceTest):
    def setUp(self):
        super().setUp()
        self.post_known()
        self.open()

    def test_success_is_that_of_the_mean_client_and_of_all_attempts(self):
        (mean, pairs), (share, attempts) = self.headlines("success")
        self.assertEqual(mean, "77.8 %")  # three clients with 1, one with 1 of 9
        self.assertEqual(pairs, "mean of 4 pairs of client and network, each counted once, 32.0–96.3 %")
        self.assertEqual(share, "60.0 %")
        self.assertEqual(attempts, "of 20 attempts, 20.5–89.7 %")
        self.assertEqual(self.table("success"), {"Wi-Fi": ["77.8 %", "60.0 %", "20"]})
        over_time = self.table("success", 1).values()
        self.assertEqual(sum(int(row[0]) for row in over_time), 12)
        self.assertEqual(sum(int(row[1]) for row in over_time), 8)

    def test_times_to_connect_have_percentiles_and_an_apdex(self):
        values = [value for value, _ in self.headlines("connecting")]
        # 1, 2, 3, 4 and 9 s of a; 1, 2 and 3 s of b and of c; 2 s of the looping one, which failed 8 times.
        self.assertEqual(values, ["2 s", "9 s", "9 s", "0.57 [4.0]*"])
        self.choose("target", "1 s")
        until(lambda: self.headlines("connecting")[3][0] == "0.35 [1.0]*", "the Apdex of another target")

    def test_reasons_are_counted_and_their_texts_are_harmless(self):
        self.assertEqual(self.js("return [...document.querySelectorAll('#reasons .legend li')].map((each) => each.textContent)"),
                         ["wrong password 6", "<b>no address</b> 2"])
        self.assertEqual(self.js("return document.querySelectorAll('#reasons b b').length"), 0)
        titles = self.js("return [...document.querySelectorAll('#reasons rect title')].map((title) => title.textContent)")
        self.assertTrue(any("wrong password" in title for title in titles), titles)

    def test_networks_are_compared_with_their_intervals(self):
        self.assertEqual(self.table("networks"), {"Office": ["77.8 %32.0–96.3 %", "20", "4"]})

    def test_drops_are_shown_by_the_signal(self):
        self.assertEqual({row: cells[0] for row, cells in self.table("signal").items()},
                         {"-85 to -80": "100.0 %", "-55 to -50": "0.0 %"})
        self.assertEqual(self.table("signal")["-55 to -50"][2], "11")

    def test_technologies_are_compared(self):
        self.assertEqual(list(self.table("radio")), ["802.11ax"])

    def test_vpn_sessions_have_lengths_ends_and_starts_without_a_stop(self):
        values = [value for value, _ in self.headlines("vpn")]
        self.assertEqual(values, ["66.7 %", "2 s", "1 h", "1"])
        self.assertIn("Disconnected By User 1", self.card("vpn"))
        self.assertIn("Connection Timeout 1", self.card("vpn"))

    def test_the_arrival_of_records_is_shown(self):
        self.assertEqual([value for value, _ in self.headlines("pipeline")][:5], ["2", "44", "0", "0", "0"])
        self.assertEqual(sum(int(cells[0]) for cells in self.table("pipeline").values()), 44)

    def test_records_that_arrive_again_count_once(self):
        success = self.headlines("success")
        self.post_known()
        self.open()
        self.assertEqual([value for value, _ in self.headlines("pipeline")][:3], ["4", "88", "44"])
        self.assertEqual(self.headlines("success"), success)

    def test_posts_that_were_not_kept_are_counted(self):
        with self.assertRaises(ConnectionError):
            self.collector.ask("POST", "/_nowhere", b"x")
        self.open()
        self.assertEqual(self.headlines("pipeline")[4], ["1", "posts not kept since the server started: 1 invalid"])

    def test_every_plot_has_a_name_and_its_numbers_as_a_table(self):
        plots = self.js("""return [...document.querySelectorAll('svg[role=img]')].map((plot) =>
            [plot.getAttribute('aria-label'), plot.closest('section, div.card').querySelectorAll('table').length])""")
        self.assertGreaterEqual(len(plots), 8)
        for name, tables in plots:
            self.assertTrue(name)
            self.assertGreater(tables, 0, name)

    def test_it_shows_new_records_when_it_is_asked_again(self):
        self.collector.post("/connection", connections(*attempt("d", "d", 5, "connected", ssid="Home")))
        self.choose("medium", "Wi-Fi")
        until(lambda: self.headlines("success")[1][1].startswith("of 21 attempts"), "the new attempt")


class Filters(ServiceTest):
    def setUp(self):
        super().setUp()
        self.post_known()

    def test_the_address_keeps_the_filter(self):
        self.collector.post("/connection", connections(*attempt("d", "d", 5, "connected", ssid="Home & Garden")))
        self.open()
        self.choose("network", "Home & Garden")
        until(lambda: self.headlines("success")[1][1].startswith("of 1 attempt,"), "the network's attempt")
        self.assertIn("?network=Home+%26+Garden", self.driver.current_url)
        self.driver.refresh()
        self.wait_for_state("live")
        self.assertTrue(self.headlines("success")[1][1].startswith("of 1 attempt,"))
        self.driver.find_element(By.ID, "clear").click()
        until(lambda: self.headlines("success")[1][1].startswith("of 21 attempts"), "all")
        self.assertTrue(self.driver.current_url.endswith("/service"))

    def test_a_chosen_network_leaves_the_others_to_choose(self):
        self.collector.post("/connection", connections(*attempt("d", "d", 5, "connected", ssid="Home")))
        self.open()
        self.choose("network", "Home")
        until(lambda: self.headlines("success")[1][1].startswith("of 1 attempt,"), "the network's attempt")
        self.choose("network", "Office")
        until(lambda: self.headlines("success")[1][1].startswith("of 20 attempts,"), "the other network's attempts")

    def test_a_sample_is_named(self):
        self.open()
        self.assertFalse(self.driver.find_element(By.ID, "part").is_displayed())
        self.js("""const ask = window.fetch;
            window.fetch = async (address) => {
              const answer = await ask(address);
              return String(address).startsWith('/_service') ? Response.json({ ...await answer.json(), oneIn: 4096 }) : answer;
            };
            document.getElementById('filter').dispatchEvent(new Event('change'))""")
        until(lambda: self.text("#part").startswith("A sample: 1 in 4,096 clients, with 44 records of all of this time."), "the sample")

    def test_the_version_is_the_one_that_the_client_reported(self):
        self.collector.post("/client", "<clientList><client><clientId>d</clientId><productVersion>4.71</productVersion>"
                                       "</client></clientList>")
        self.collector.post("/connection", connections(*attempt("d", "d", 5, "connected", ssid="Home")))
        self.open()
        self.choose("version", "4.71")
        until(lambda: self.headlines("success")[1][1].startswith("of 1 attempt,"), "the client's attempt")

    def test_a_window_is_chosen_by_its_ends(self):
        self.open("?window=&from=2020-01-01T00:00&to=2020-01-02T00:00")
        until(lambda: self.text("#empty-title") == "No record in this time", "nothing in 2020")
        self.assertTrue(self.driver.find_element(By.NAME, "from").is_displayed())

    def test_a_wrong_question_is_explained(self):
        self.driver.get(f"{self.collector.address}/service?target=-1")
        self.wait_for_state("lost")
        self.assertIn("target is to be a number of seconds", self.text("#state"))

    def test_a_lost_server_is_reported_and_its_return(self):
        self.open()
        self.collector.end()
        self.js("document.getElementById('filter').dispatchEvent(new Event('change'))")
        self.wait_for_state("lost")
        self.collector = self.start_collector(self.collector.port)
        self.js("document.getElementById('filter').dispatchEvent(new Event('change'))")
        self.wait_for_state("live")


class Empty(ServiceTest):
    def test_it_says_that_nothing_arrived(self):
        self.assertEqual(self.text("#empty-title"), "No record has arrived yet")
        self.assertEqual(self.card("success"), "")

    def test_it_says_that_no_field_is_known(self):
        self.collector.post("/connection", "<connectionList><r><wann>jetzt</wann></r></connectionList>")
        self.open()
        self.assertEqual(self.text("#empty-title"), "The records have no fields that this page knows")
        self.assertIn("sqm-collector fields", self.text("#empty-text"))

    def test_it_leads_to_the_newest_records(self):
        self.collector.post("/connection", connections(*attempt("a", "a", 60 * 24 * 40, "connected", ssid="Office")))
        self.open()
        self.assertEqual(self.text("#empty-title"), "No record in this time")
        self.driver.find_element(By.CSS_SELECTOR, "#empty button").click()
        until(lambda: self.headlines("success") and self.headlines("success")[1][1].startswith("of 1 attempt,"), "the attempt")

    def test_it_says_that_the_filter_is_too_narrow(self):
        self.collector.post("/connection", connections(*attempt("a", "a", 5, "connected", ssid="Office")))
        self.open("?network=Nowhere")
        self.assertEqual(self.text("#empty-title"), "The filter selects nothing")
        self.driver.find_element(By.CSS_SELECTOR, "#empty button").click()
        until(lambda: self.card("success"), "the figures")
        self.assertEqual(self.focused(), "SELECT")

    def test_a_figure_without_values_says_which_field_it_lacks(self):
        self.collector.post("/connection", connections(*attempt("a", "a", 5, "connected")))
        self.open()
        self.assertIn("meaning connect-seconds", self.card("connecting"))
        self.assertIn("meaning signal", self.card("signal"))


class Fleet(ServiceTest):
    def test_its_figures_are_those_of_a_simulated_fleet(self):
        program = Options.programs / "sqm-fleet"
        # On the first days of a week, when clients meet at the same networks, and in the window of a week.
        days = (NOW - datetime.timedelta(days=ago) for ago in range(2, 7))
        start = next(day for day in days if day.weekday() < 3).strftime("%Y-%m-%dT%H:%M:%SZ")
        fleet = subprocess.run([program, "--server", self.collector.address, "--clients", "80", "--seed", "5", "--days", "1.5",
                                "--start", start], check=True, capture_output=True, timeout=4 * PATIENCE)
        truth = json.loads(fleet.stdout)
        connected = truth["connections"]
        self.open("?window=604800")

        (mean, pairs), (share, attempts) = self.headlines("success")
        self.assertEqual(mean, f"{connected['ratePerClientAndNetwork']:.1%}".replace("%", " %"))
        self.assertTrue(pairs.startswith(f"mean of {connected['pairs']} pairs"), pairs)
        self.assertEqual(share, f"{connected['rate']:.1%}".replace("%", " %"))
        self.assertTrue(attempts.startswith(f"of {connected['attempts']:,} attempts"), attempts)

        report = json.loads(self.collector.ask("GET", "/_service?seconds=604800")[2])
        for medium in report["success"]["media"]:
            true = connected["byMedium"][medium["medium"]]
            self.assertEqual((medium["attempts"], medium["connected"], medium["pairs"]),
                             (true["attempts"], true["succeeded"], true["pairs"]))
        by_network = {(row["medium"], row["network"]): row for row in connected["byNetwork"]}
        self.assertGreater(len(report["networks"]["worst"]), 0)
        for row in report["networks"]["worst"]:
            true = by_network[row["medium"], row["network"]]
            self.assertEqual((row["attempts"], row["clients"]), (true["attempts"], true["pairs"]))
            self.assertAlmostEqual(row["success"]["value"], true["ratePerClientAndNetwork"])
        for key, true in connected["secondsToConnect"].items():
            self.assertEqual(report["connecting"][key], true, key)
        counted = {row["text"]: row["count"] for row in report["reasons"]["frequent"]}
        frequent = sorted(connected["failures"].values(), reverse=True)
        self.assertEqual(sorted(counted.values(), reverse=True), frequent[:8])
        for reason, count in counted.items():
            self.assertEqual(count, connected["failures"][reason], reason)
        self.assertEqual(report["reasons"]["others"]["count"], sum(frequent[8:]))

        drops = {}
        for row in connected["dropsBySignal"]:
            ended, dropped = drops.get(row["from"], (0, 0))
            drops[row["from"]] = (ended + row["connections"], dropped + row["dropped"])
        self.assertEqual({row["from"]: (row["ended"], row["dropped"]) for row in report["signal"] if row["ended"] > 0}, drops)
        mobile = {row["technology"]: row["attempts"] for row in report["technologies"] if row["technology"] != "802.11ac"}
        self.assertEqual(mobile, connected["technologies"])
        self.assertEqual(sum(row["attempts"] for row in report["roaming"] if row["isAbroad"]), connected["roaming"])

        vpn_report, vpn_truth = report["vpn"], truth["vpn"]
        self.assertEqual(vpn_report["attempts"], vpn_truth["starts"])
        self.assertEqual(vpn_report["connected"], vpn_truth["succeeded"])
        self.assertEqual(vpn_report["withoutStop"], vpn_truth["withoutStop"])
        self.assertEqual(vpn_report["ended"], vpn_truth["stops"])
        self.assertEqual({row["text"]: row["count"] for row in vpn_report["ends"]["frequent"]}, vpn_truth["ends"])
        for key, true in vpn_truth["seconds"].items():
            self.assertEqual(vpn_report["lengths"][key], true, key)
        self.assertEqual(report["pipeline"]["records"], sum(truth["records"].values()))
        for size, scheme in (((1280, 860), "light"), ((1280, 860), "dark"), (PHONE, "light"), (PHONE, "dark")):
            self.browser.emulate(size, scheme)
            self.picture(f"service-{'phone' if size == PHONE else 'wide'}-{scheme}")


class Looks(ServiceTest):
    def setUp(self):
        super().setUp()
        self.post_known()
        self.collector.post("/connection", connections(*[record for at in range(3) for client in "abc" for record in attempt(
            client, f"long{at}", 40 - at, "failed", ssid="W" * 200, disconnectReason="long " * 60)]))
        self.open()
        self.js("document.querySelectorAll('details').forEach((details) => { details.open = true; })")

    def test_every_text_stands_out_in_both_schemes(self):
        for scheme in ("light", "dark"):
            self.browser.emulate(scheme=scheme)
            with self.subTest(scheme):
                seen, faint = self.js(FAINT)
                self.assertGreater(seen, 200)
                self.assertEqual(faint, [])

    def test_a_phone_shows_it_without_scrolling_sideways(self):
        self.browser.emulate(PHONE)
        self.assertEqual(self.js("""return [document.documentElement.scrollWidth, innerWidth,
            ...[...document.querySelectorAll('main *')].filter((element) => element.checkVisibility() &&
              getComputedStyle(element).overflowX === 'visible' && !element.closest('.wide, svg, .unseen') &&
              element.scrollWidth > element.clientWidth && element.clientWidth > 0)
              .map((element) => element.outerHTML.slice(0, 80))]"""), [360, 360])

    def test_the_tab_key_reaches_the_filter_and_every_table(self):
        reached = set()
        self.js("document.activeElement.blur()")
        for _ in range(60):
            self.press(Keys.TAB)
            name, outline = self.js("""const style = getComputedStyle(document.activeElement);
                const at = document.activeElement;
                return [at.name || at.getAttribute('aria-label') || at.tagName, parseFloat(style.outlineWidth)]""")
            if name == "BODY":
                break
            reached.add(name)
            self.assertGreaterEqual(outline, 1, f"the focus is not seen on {name}")
        self.assertLessEqual({"window", "medium", "network", "version", "target", "SUMMARY"}, reached)
        tables = self.js("return [...document.querySelectorAll('.wide')].map((each) => each.getAttribute('aria-label'))")
        self.assertGreater(len(tables), 8)
        self.assertLessEqual(set(tables), reached)

    def test_everything_that_takes_the_focus_has_a_name(self):
        self.assertEqual(self.js(NAMELESS), [])

    def test_the_page_is_the_servers_own_and_breaks_no_policy(self):
        addresses = self.js("return performance.getEntriesByType('resource').map((entry) => entry.name)")
        self.assertGreater(len(addresses), 5)
        self.assertEqual([a for a in addresses if not a.startswith(self.collector.address + "/_")], [])
        self.assertEqual(self.complaints(), [])

    def test_both_pages_lead_to_each_other(self):
        self.driver.find_element(By.LINK_TEXT, "Records").click()
        until(lambda: self.text("#list"), "the records")
        self.driver.find_element(By.LINK_TEXT, "Service").click()
        until(lambda: self.card("success"), "the figures")


if __name__ == "__main__":
    main(__name__)
