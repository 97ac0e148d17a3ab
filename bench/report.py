#!/usr/bin/env python3
"""Turns velmora_bench's Google Benchmark JSON into the comparison table.

    report.py RAW.json RESULTS.json [--quick]

Prints one Markdown table: each row's operation and size, Velmora's time, each peer's or
baseline's time with its ratio (peer time / Velmora time: above 1 means Velmora is faster),
the targets and whether they are met, then the checks that compare Velmora with itself, and
the line "targets: N met, M missed". Writes the same to RESULTS.json.
"""
import json
import re
import sys

# What each implementation key stands for.
NAMES = {
    "libc": "C library",
    "std": "std::string loop",
    "qt": "Qt 5",
    "qt-bytes": "Qt 5 (QByteArray)",
    "juce": "JUCE",
    "boost": "boost",
    "memcpy": "memcpy",
    "read": "read bandwidth",
    "scalar": "scalar loop",
    "fsync": "hand fsync",
    "case-sensitive": "case-sensitive Find",
}
# Libraries a developer would pick instead: Velmora must at least match each, unless a rule
# below says otherwise.
PEERS = {"libc", "qt", "qt-bytes", "juce", "boost"}

# (operation pattern, size pattern, implementation, least ratio). The first match counts.
RULES = [
    (r"CRC-16", r"64 B", "boost", 8.0),
    (r"CRC-16", r"64 MiB", "boost", 80.0),
    (r"CRC-16", r"64 MiB", "read", 0.7),
    (r"Number\(int\)|ToInt$", r".", "libc", 3.0),
    (r"Replace|Arg|Split|SimplifyWhiteSpace|Find$", r".", "std", 1 / 1.2),
    (r"Find half-text", r".", "case-sensitive", 1 / 3.0),
    (r"Dir::GetFilenames", r".", "libc", 1 / 1.3),
    (r"ByteStream", r".", "memcpy", 1 / 4.0),
    (r"Preferences set", r".", "fsync", 1 / 1.5),
    (r"Installer step", r".", "fsync", 1 / 1.5),
    (r"Convert", r"1,024", "scalar", 8.0),
    (r"Convert", r"16M", "memcpy", 1.0),
]

# Repeated runs of one row differ by up to this much here, so a result this close to its
# target counts as met: a tie with a peer that does the same memcpy is a tie.
NOISE = 0.03

# Velmora alone: (operation pattern, size pattern, most time in ns).
LIMITS = [
    (r"^Path cleaning", r".", 5e6),
]

# Velmora against itself: (operation pattern, size A, size B, most time(A) / time(B)).
SELF_CHECKS = [
    (r"^(Replace|Arg|Split|SimplifyWhiteSpace|Find)$", "16 MiB", "1 MiB", 17.0),
    (r"^ByteStream", r"(.*), big-endian", r"\1, little-endian", 1.1),
]


def target_for(operation, size, impl):
    for op_pattern, size_pattern, rule_impl, least in RULES:
        if rule_impl == impl and re.search(op_pattern, operation) and re.search(size_pattern, size):
            return least
    return 1.0 if impl in PEERS else None


def format_time(ns):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if ns >= scale:
            return f"{ns / scale:.3g} {unit}"
    return f"{ns:.3g} ns"


def load(path, quick):
    with open(path) as f:
        raw = json.load(f)
    times = {}  # (operation, size) -> {impl: ns}
    order = []
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    aggregated = {b["run_name"] for b in raw["benchmarks"] if b.get("run_type") == "aggregate"}
    for b in raw["benchmarks"]:
        if b.get("error_occurred"):
            continue
        if quick:
            if b.get("run_type") != "iteration":
                continue
        elif b.get("run_type") == "aggregate":
            if b.get("aggregate_name") != "median":
                continue
        elif b["run_name"] in aggregated:
            continue  # repetitions: only their median counts
        name = b["run_name"]
        if name.endswith("/real_time"):
            name = name[: -len("/real_time")]
        operation, size, impl = name.rsplit("/", 2)
        key = (operation, size)
        if key not in times:
            times[key] = {}
            order.append(key)
        times[key][impl] = b["real_time"] * scale[b["time_unit"]]
    return raw.get("context", {}), times, order


def cpu_model():
    try:
        with open("/proc/cpuinfo") as f:
            text = f.read()
    except OSError:
        return "unknown CPU"
    model = re.search(r"^model name\s*:\s*(.*)$", text, re.M)
    flags = re.search(r"^flags\s*:\s*(.*)$", text, re.M)
    wanted = ["sse4_2", "avx2", "avx512f", "avx512bw", "pclmulqdq", "vpclmulqdq"]
    have = [f for f in wanted if flags and f in flags.group(1).split()]
    cores = len(re.findall(r"^processor\s*:", text, re.M))
    return f"{model.group(1) if model else 'unknown CPU'}, {cores} cores ({' '.join(have)})"


def main():
    args = [a for a in sys.argv[1:] if not a.startswith("--")]
    quick = "--quick" in sys.argv
    if len(args) != 2:
        print("usage: report.py RAW.json RESULTS.json [--quick]", file=sys.stderr)
        return 2
    context, times, order = load(args[0], quick)
    met = missed = 0
    rows = []
    print(f"CPU: {cpu_model()}; {context.get('date', '')}")
    if quick:
        print("(--quick: each row ran briefly, so times and verdicts are rough)")
    print()
    print("| Operation | Size | Velmora | Others (time, ratio) | Target | |")
    print("|---|---|---|---|---|---|")
    for key in order:
        operation, size = key
        impls = times[key]
        velmora = impls.get("velmora")
        if velmora is None:
            continue
        others, targets, verdicts = [], [], []
        row = {"operation": operation, "size": size, "velmora_ns": velmora, "others": {}}
        for impl, ns in impls.items():
            if impl == "velmora":
                continue
            ratio = ns / velmora
            least = target_for(operation, size, impl)
            entry = {"name": NAMES.get(impl, impl), "ns": ns, "ratio": ratio}
            others.append(f"{NAMES.get(impl, impl)} {format_time(ns)} ({ratio:.2f}x)")
            if least is not None:
                ok = ratio >= least * (1 - NOISE)
                entry.update(target=least, met=ok)
                targets.append(f"{NAMES.get(impl, impl)} ≥ {least:.2f}x")
                verdicts.append(ok)
                met, missed = (met + 1, missed) if ok else (met, missed + 1)
            row["others"][impl] = entry
        for op_pattern, size_pattern, most in LIMITS:
            if re.search(op_pattern, operation) and re.search(size_pattern, size):
                ok = velmora <= most * (1 + NOISE)
                targets.append(f"≤ {format_time(most)}")
                verdicts.append(ok)
                row["limit_ns"], row["met"] = most, ok
                met, missed = (met + 1, missed) if ok else (met, missed + 1)
        rows.append(row)
        verdict = "" if not verdicts else ("met" if all(verdicts) else "**missed**")
        print(f"| {operation} | {size} | {format_time(velmora)} | {'; '.join(others)} | "
              f"{'; '.join(targets)} | {verdict} |")

    checks = []
    for op_pattern, size_a, size_b, most in SELF_CHECKS:
        for (operation, size) in order:
            if not re.search(op_pattern, operation) or not re.fullmatch(size_a, size):
                continue
            other = re.sub(size_a, size_b, size) if "\\" in size_b else size_b
            a = times[(operation, size)].get("velmora")
            b = times.get((operation, other), {}).get("velmora")
            if a is None or b is None:
                continue
            ok = a / b <= most * (1 + NOISE)
            checks.append({"operation": operation, "a": size, "b": other, "ratio": a / b,
                           "most": most, "met": ok})
            met, missed = (met + 1, missed) if ok else (met, missed + 1)
    if checks:
        print()
        print("| Velmora against itself | time ratio | Target | |")
        print("|---|---|---|---|")
        for c in checks:
            verdict = "met" if c["met"] else "**missed**"
            print(f"| {c['operation']}: {c['a']} / {c['b']} | {c['ratio']:.2f} | ≤ {c['most']:g} "
                  f"| {verdict} |")
    print()
    print(f"(a result within {NOISE:.0%} of its target counts as met: runs differ by that much)")
    print(f"targets: {met} met, {missed} missed")
    with open(args[1], "w") as f:
        json.dump({"cpu": cpu_model(), "quick": quick, "context": context, "rows": rows,
                   "checks": checks, "met": met, "missed": missed}, f, indent=1)
    return 0


if __name__ == "__main__":
    sys.exit(main())
