"""Each alert fires for what it is about, and for nothing else, by made-up series and Prometheus's own rules engine.

Arguments: --promtool, the program.
"""

import argparse
import json
import pathlib
import re
import subprocess
import tempfile
import unittest

MONITORING = pathlib.Path(__file__).resolve().parents[2] / "tools/fleet/monitoring"
MINUTES = 150


class Options:
    promtool = None


def always(value):
    return f"{value}x{MINUTES}"


def rising(step):
    return f"0+{step}x{MINUTES}"


def then(value, other, after=10):
    """One value for so many minutes, and then another."""
    return f"{value}x{after - 1} {always(other)}"


def buckets(name, labels, **counts):
    """The series of a histogram: how many more events a minute are within each bound, in seconds."""
    bounds = {"tenth": "0.1", "half": "0.5", "five": "5", "ten": "10", "all": "+Inf"}
    return {f'{name}_bucket{{{labels},le="{bounds[bound]}"}}': rising(count) for bound, count in counts.items()}


def healthy():
    """The series of a cluster in which nothing is to be told: by series, its values of each minute."""
    series = {}
    for instance in ("c1", "c2"):
        collector = f'job="sqm-collector",instance="{instance}"'
        series[f"up{{{collector}}}"] = always(1)
        for outcome in ("too_long", "failed", "refused"):
            series[f'sqm_collector_posts_total{{{collector},outcome="{outcome}"}}'] = always(3)
        series[f'sqm_collector_posts_total{{{collector},outcome="kept"}}'] = rising(100)
        series[f"sqm_collector_oldest_wait_seconds{{{collector}}}"] = always(0.2)
        series[f"sqm_collector_commits_failed_total{{{collector}}}"] = always(3)
        series |= buckets("sqm_collector_post_duration_seconds", collector, tenth=90, half=100, five=100, ten=100, all=100)
        series[f"sqm_collector_certificate_expiry_timestamp_seconds{{{collector}}}"] = always(90 * 86400)
        series[f'sqm_collector_reloads_total{{{collector},result="failed"}}'] = always(3)
        series[f'sqm_collector_connections_dropped_total{{{collector},limit="connections"}}'] = rising(30)
        series[f"process_open_fds{{{collector}}}"] = always(700)
        series[f"process_max_fds{{{collector}}}"] = always(1000)
    for at, instance in enumerate(("d1", "d2", "d3")):
        database, etcd = f'job="patroni",instance="{instance}"', f'job="etcd",instance="{instance}"'
        series[f"up{{{database}}}"] = series[f"up{{{etcd}}}"] = always(1)
        series[f"patroni_postgres_running{{{database}}}"] = always(1)
        series[f"patroni_primary{{{database}}}"] = always(int(at == 0))
        series[f"patroni_sync_standby{{{database}}}"] = always(int(at == 1))
        series[f"patroni_replica{{{database}}}"] = always(int(at > 0))
        series[f"patroni_xlog_location{{{database}}}"] = always(int(at == 0) << 30)
        series[f"patroni_xlog_received_location{{{database}}}"] = always(int(at > 0) << 30)
        series[f"patroni_is_paused{{{database}}}"] = always(0)
        series[f"etcd_server_has_leader{{{etcd}}}"] = always(1)
        series |= buckets("etcd_disk_wal_fsync_duration_seconds", etcd, tenth=99, half=100, five=100, all=100)
        disk = f'job="node",instance="{instance}",mountpoint="/",fstype="ext4"'
        series[f"node_filesystem_avail_bytes{{{disk}}}"] = always(30)
        series[f"node_filesystem_size_bytes{{{disk}}}"] = always(100)
        series[f'node_systemd_unit_state{{job="node",instance="{instance}",name="patroni.service",state="failed"}}'] = always(0)
    series['up{job="haproxy",instance="b1"}'] = always(1)
    series['haproxy_backend_active_servers{job="haproxy",instance="b1",proxy="sqm"}'] = always(2)
    return series


C1 = 'job="sqm-collector",instance="c1"'
DATABASES = [f'job="patroni",instance="d{number}"' for number in (1, 2, 3)]
ETCD = [f'job="etcd",instance="d{number}"' for number in (1, 2, 3)]

# What is to be told: an alert, how the series of a healthy cluster change, a minute in which it does not fire yet, and one in
# which it does. What changes, changes after ten minutes.
CASES = [
    ("SqmCollectorDown", {f"up{{{C1}}}": then(1, 0)}, 14, 16),
    ("SqmBodiesLost", {f'sqm_collector_posts_total{{{C1},outcome="too_long"}}': then(3, 4)}, 9, 11),
    ("SqmPostsNotStored", {f'sqm_collector_posts_total{{{C1},outcome="failed"}}': then(3, 9)}, 14, 17),
    ("SqmPostsWait", {f"sqm_collector_oldest_wait_seconds{{{C1}}}": then(0, 12)}, 10, 12),
    ("SqmCommitsFail", {f"sqm_collector_commits_failed_total{{{C1}}}": rising(1)}, 10, 13),
    ("SqmSlow", buckets("sqm_collector_post_duration_seconds", C1, tenth=50, half=60, five=90, ten=100, all=100), 14, 18),
    ("SqmPostsRefused", {f'sqm_collector_posts_total{{{C1},outcome="refused"}}': rising(1)}, 60, 75),
    ("SqmNothingArrives", {f'sqm_collector_posts_total{{job="sqm-collector",instance="c{number}",outcome="kept"}}': then(7, 9)
                           for number in (1, 2)}, 120, 135),
    ("SqmCertificateExpires", {f"sqm_collector_certificate_expiry_timestamp_seconds{{{C1}}}": always(14 * 86400 + 600)}, 9, 11),
    ("SqmReloadFailed", {f'sqm_collector_reloads_total{{{C1},result="failed"}}': then(3, 4)}, 9, 11),
    ("SqmConnectionsDropped", {f'sqm_collector_connections_dropped_total{{{C1},limit="connections"}}': rising(90)}, 15, 20),
    ("SqmOpenFiles", {f"process_open_fds{{{C1}}}": then(700, 900)}, 19, 21),
    ("SqmNoPrimary", {f"patroni_primary{{{DATABASES[0]}}}": then(1, 0)}, 10, 12),
    ("SqmNoSyncStandby", {f"patroni_sync_standby{{{DATABASES[1]}}}": then(1, 0)}, 10, 12),
    ("SqmDatabaseDown", {f"patroni_postgres_running{{{DATABASES[2]}}}": then(1, 0)}, 14, 16),
    ("SqmDatabaseDown", {f"up{{{DATABASES[2]}}}": then(1, 0)}, 14, 16),
    ("SqmStandbyBehind", {f"patroni_xlog_received_location{{{DATABASES[2]}}}": then(1 << 30, 15 << 26)}, 9, None),
    ("SqmStandbyBehind", {f"patroni_xlog_received_location{{{DATABASES[2]}}}": then(1 << 30, (15 << 26) - 1)}, 11, 13),
    ("SqmPatroniPaused", {f"patroni_is_paused{{{each}}}": then(0, 1) for each in DATABASES}, 69, 71),
    ("SqmNoQuorum", {f"etcd_server_has_leader{{{each}}}": then(1, 0) for each in ETCD[1:]}, 10, 12),
    ("SqmNoQuorum", {f"etcd_server_has_leader{{{each}}}": then(1, 0) for each in ETCD}, 10, 12),
    ("SqmEtcdDown", {f"up{{{ETCD[2]}}}": then(1, 0)}, 14, 16),
    ("SqmEtcdSlow", buckets("etcd_disk_wal_fsync_duration_seconds", ETCD[0], tenth=50, half=90, five=100, all=100), 9, 13),
    ("SqmBalancerDown", {'up{job="haproxy",instance="b1"}': then(1, 0)}, 10, 12),
    ("SqmCollectorsMissing", {'haproxy_backend_active_servers{job="haproxy",instance="b1",proxy="sqm"}': then(2, 1)}, 14, 16),
    ("SqmDiskFills", {'node_filesystem_avail_bytes{job="node",instance="d1",mountpoint="/",fstype="ext4"}': then(30, 19)}, 14, 16),
    ("SqmUnitFailed", {'node_systemd_unit_state{job="node",instance="d1",name="patroni.service",state="failed"}': then(0, 1)}, 14, 16),
]


def asked(minute, *firing):
    """What promtool compares: the alerts that fire in a minute, with the number of their instances."""
    samples = [{"labels": f'{{alertname="{name}"}}', "value": count} for name, count in firing]
    return {"expr": 'count by (alertname) (ALERTS{alertstate="firing"})', "eval_time": f"{minute}m", "exp_samples": samples}


def case(alert, changes, quiet, firing):
    series = healthy()
    assert set(changes) <= set(series), alert
    series |= changes
    instances = 3 if alert == "SqmPatroniPaused" else 1
    expected = [asked(quiet)] + ([asked(firing, (alert, instances))] if firing else [asked(MINUTES)])
    return {"interval": "1m", "promql_expr_test": expected,
            "input_series": [{"series": name, "values": values} for name, values in series.items()]}


class Alerts(unittest.TestCase):
    def test_every_alert_has_a_case(self):
        rules = "".join(file.read_text(encoding="utf-8") for file in MONITORING.glob("*alerts.yml"))
        self.assertEqual(set(re.findall(r"alert: (\w+)", rules)), {alert for alert, *_ in CASES})

    def test_they_fire_in_time_and_alone(self):
        tests = [case("none", {}, 1, None)] + [case(*each) for each in CASES]
        with tempfile.NamedTemporaryFile("w", suffix=".yml") as file:
            json.dump({"rule_files": [str(path) for path in MONITORING.glob("*alerts.yml")], "evaluation_interval": "1m",
                       "tests": tests}, file)
            file.flush()
            result = subprocess.run([Options.promtool, "test", "rules", file.name], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--promtool", type=pathlib.Path, required=True)
    arguments, rest = parser.parse_known_args()
    Options.promtool = arguments.promtool
    unittest.main(argv=["alerts_test.py", *rest])
