"""A real Prometheus scrapes the collection server. The dashboard and the alerts name metrics that are served."""

import argparse
import json
import pathlib
import re
import shutil
import socket
import ssl
import subprocess
import sys
import tempfile
import unittest
import urllib.error
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
MONITORING = ROOT / "tools/fleet/monitoring"
TOKEN = "0123456789abcdef"

sys.path.insert(0, str(ROOT / "tests/support"))
from waiting import PATIENCE, until


class Options:
    programs = None  # the folder of the built programs
    prometheus = None  # the program


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def fetch(url, body=None, authority=None):
    request = urllib.request.Request(url, data=body, headers={"Authorization": f"Bearer {TOKEN}"})
    https = urllib.request.HTTPSHandler(context=ssl.create_default_context(cafile=authority))
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}), https)
    with opener.open(request, timeout=PATIENCE) as answer:
        return answer.read().decode()


def names_in(expression):
    """The metrics that an expression of PromQL names."""
    return set(re.findall(r"\b((?:sqm|process)_\w+?)(?:_bucket)?\b(?=[\s{\[)]|$)", expression))


def expressions():
    """Those of the dashboard and of the alerts, with the variables of the dashboard filled in."""
    dashboard = json.loads((MONITORING / "grafana.json").read_text(encoding="utf-8"))
    found = [target["expr"] for panel in dashboard["panels"] for target in panel["targets"]]
    variables = [variable["query"] for variable in dashboard["templating"]["list"] if variable["type"] == "query"]
    found += [re.fullmatch(r"label_values\((.*), \w+\)", query).group(1) for query in variables]
    found += re.findall(r"expr: (.*)", (MONITORING / "alerts.yml").read_text(encoding="utf-8"))
    return [one.replace("$job", "sqm-collector").replace("$instance", ".*") for one in found]


class Metrics(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="sqm-metrics-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        certificate, key, tokens = (cls.folder / name for name in ("certificate.pem", "key.pem", "tokens"))
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-subj", "/CN=collector", "-addext", "subjectAltName=IP:127.0.0.1", "-days", "2",
                        "-keyout", key, "-out", certificate], check=True, capture_output=True)
        tokens.write_text(f"all write,metrics {TOKEN}\n")
        collector = cls.start([Options.programs / "sqm-collector", "--port", "0", "--quiet", "--largest-body", "1",
                               "--token-file", tokens, "--fail", "/slow:delay=0.02"], stdout=subprocess.PIPE)
        cls.collector = collector.stdout.readline().strip().rstrip("/")
        secure = cls.start([Options.programs / "sqm-collector", "--port", "0", "--quiet", "--tls-certificate",
                            certificate, "--tls-key", key], stdout=subprocess.PIPE)
        cls.secure = secure.stdout.readline().strip().rstrip("/")
        cls.assert_started(cls.collector)
        cls.assert_started(cls.secure)

    @classmethod
    def assert_started(cls, address):
        if not address:
            raise AssertionError("the collection server did not start")

    @classmethod
    def start(cls, arguments, **further):
        process = subprocess.Popen(arguments, text=True, **further)

        def end():
            process.terminate()
            process.wait(PATIENCE)
            if process.stdout:
                process.stdout.close()

        cls.addClassCleanup(end)
        return process

    def test_the_text_has_no_fault_and_no_label_that_names_anyone(self):
        fetch(self.collector + "/connection", b"<connectionList><r><ssid>Cafe</ssid></r></connectionList>")
        text = fetch(self.collector + "/metrics")
        subprocess.run([Options.prometheus.with_name("promtool"), "check", "metrics"], input=text, text=True, check=True)
        self.assertEqual(set(re.findall(r"[{,](\w+)=", text)), {"outcome", "limit", "result", "le"})
        for secret in ("Cafe", TOKEN, "127.0.0.1", "/connection"):
            self.assertNotIn(secret, text)

    def test_the_guide_explains_every_metric_and_every_alert(self):
        guide = (ROOT / "docs/fleet.md").read_text(encoding="utf-8")
        for address in (self.collector, self.secure):
            text = fetch(address + "/metrics", authority=self.folder / "certificate.pem")
            for name in re.findall(r"^# TYPE sqm_collector_(\w+)", text, re.MULTILINE):
                self.assertRegex(guide, rf"`{name}[`{{]")
        rules = "".join(file.read_text(encoding="utf-8") for file in MONITORING.glob("*alerts.yml"))
        alerts = re.findall(r"alert: (\w+)", rules)
        self.assertEqual(set(alerts), set(re.findall(r"`(Sqm\w+)`", guide)))

    def test_a_body_that_is_too_long_is_counted(self):
        before = json.loads(self.counted("too_long"))
        with self.assertRaises(urllib.error.HTTPError) as refused:
            fetch(self.collector + "/queue", b"a" * (1 << 20) + b"a")
        refused.exception.close()
        self.assertEqual(refused.exception.code, 413)
        self.assertEqual(json.loads(self.counted("too_long")), before + 1)

    def counted(self, outcome):
        text = fetch(self.collector + "/metrics")
        return re.search(rf'^sqm_collector_posts_total{{outcome="{outcome}"}} (.*)$', text, re.MULTILINE).group(1)

    def test_prometheus_scrapes_it_and_knows_what_dashboard_and_alerts_ask_for(self):
        address = f"127.0.0.1:{free_port()}"
        targets = [urllib.parse.urlsplit(url).netloc for url in (self.collector, self.secure)]
        (self.folder / "token").write_text(TOKEN)
        for rules in MONITORING.glob("*alerts.yml"):
            shutil.copy(rules, self.folder)
        configuration = (MONITORING / "prometheus.yml").read_text(encoding="utf-8")
        configuration = configuration.replace("scrape_interval: 15s", "scrape_interval: 1s")
        configuration, mark, cluster = configuration.partition("# The machines of a cluster")
        job = configuration[configuration.index("  - job_name"):]
        plain = job.replace("job_name: sqm-collector", "job_name: sqm-collector-plain").replace("https", "http", 1)
        plain = re.sub(r"\[.*\]", f'["{targets[0]}"]', plain)
        configuration = re.sub(r"\[.*\]", f'["{targets[1]}"]', configuration) + plain
        # Both are one job to the dashboard, as collectors are that differ in their address alone.
        configuration += '    relabel_configs: [{ target_label: "job", replacement: "sqm-collector" }]\n'
        configuration = configuration.replace("/etc/prometheus/sqm-authority.pem", str(self.folder / "certificate.pem"))
        configuration = configuration.replace("/etc/prometheus/sqm-token", str(self.folder / "token"))
        file = self.folder / "prometheus.yml"
        file.write_text(configuration + mark + cluster)
        subprocess.run([Options.prometheus.with_name("promtool"), "check", "config", file], check=True,
                       stdout=subprocess.DEVNULL)
        fetch(self.collector + "/slow", b"a")
        with open(self.folder / "log", "w") as log:
            self.start([Options.prometheus, f"--config.file={file}", f"--storage.tsdb.path={self.folder / 'data'}",
                        f"--web.listen-address={address}"], stdout=log, stderr=log)

        def ask(expression):
            query = urllib.parse.urlencode({"query": expression})
            try:
                answer = json.loads(fetch(f"http://{address}/api/v1/query?{query}"))
            except (urllib.error.URLError, ConnectionError):
                return []
            self.assertEqual(answer["status"], "success", expression)
            return answer["data"]["result"]

        until(lambda: len(ask('up{job="sqm-collector"} == 1')) == 2, "Prometheus scrapes both collectors")
        until(lambda: ask("sqm_collector_certificate_expiry_timestamp_seconds - time() > 86400"), "TLS is scraped")
        kept = until(lambda: ask('sqm_collector_posts_total{outcome="kept"} > 0'), "the post is counted")
        self.assertGreaterEqual(float(kept[0]["value"][1]), 1)
        self.assertGreater(float(ask("max(sqm_collector_post_duration_seconds_sum)")[0]["value"][1]), 0.02)
        asked = expressions()
        self.assertGreater(len(asked), 30)
        for expression in asked:
            ask(expression)
            names = names_in(expression)
            self.assertTrue(names or expression.startswith("up{"), expression)
            for name in names:
                self.assertTrue(ask(f'{{__name__=~"{name}(_count)?",job="sqm-collector"}}'), f"{name} is not served")
        served = set(re.findall(r"^# TYPE (\w+)", fetch(self.collector + "/metrics"), re.MULTILINE))
        named = set().union(*map(names_in, asked))
        unused = {"sqm_collector_connections_accepted_total", "sqm_collector_connections_closed_total",
                  "sqm_collector_in_flight_bytes", "process_start_time_seconds", "process_threads"}
        self.assertEqual(served - named, unused, "a metric that nothing shows, or one that this list need not name")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("--prometheus", type=pathlib.Path, required=True)
    arguments, rest = parser.parse_known_args()
    Options.programs, Options.prometheus = arguments.programs, arguments.prometheus
    unittest.main(argv=sys.argv[:1] + rest)
