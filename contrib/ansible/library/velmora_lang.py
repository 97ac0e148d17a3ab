#!/usr/bin/python
# -*- coding: utf-8 -*-
#
# Sets or removes the "Lang" preference of every plug-in format of a Velmora product on a
# host, through the installed velmora-install-host and velmora-defaults tools.

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: velmora_lang
short_description: Set the language of a Velmora product's plug-ins on a host
description:
  - Runs the Velmora installer extension's post-install step for a product, as a host
    installer does after installing it, so that every plug-in format of the product
    (AU, VST, MAS, PT, SA) starts in the given language for all users of the host.
  - With I(state=absent), removes the C(Lang) preference from every plug-in format domain
    of the product instead.
  - Drives the installed tools C(velmora-install-host) and C(velmora-defaults) through their
    C(--json) output; a real call is made only when a C(Lang) would change.
  - Preferences for all users live in C(/etc/velmora/preferences), so the task usually needs
    I(become=true). C(VELMORA_PREFS_ROOT) in the task's environment moves the store elsewhere.
options:
  product:
    description:
      - The product, by name (C(Harrow), C(Meridian3), C(Gravel), C(Lattice), C(Tempest),
        C(CadenzaPRO), any case) or by numeric code (C(1000) to C(1500)).
    type: str
    required: true
  language:
    description:
      - A two-letter code (C(ja)), an English name (C(Japanese)) or a Mac OS language number
        (C(11)).
      - The extension writes C(fr), C(de), C(it), C(es) or C(ja) for those languages and
        C(en) for every other one.
      - Required when I(state=present).
    type: str
  state:
    description:
      - C(present) makes every plug-in format domain of the product hold C(Lang) for the
        language; C(absent) removes C(Lang) from all of them.
    type: str
    choices: [present, absent]
    default: present
  install_host:
    description:
      - Path of C(velmora-install-host); by default it is looked up on C(PATH).
    type: path
  defaults:
    description:
      - Path of C(velmora-defaults), used by I(state=absent); by default it is looked up on
        C(PATH).
    type: path
attributes:
  check_mode:
    support: full
    description: Reads the current values and reports what would change; writes nothing.
  diff_mode:
    support: full
    description: Shows the C(Lang) of each domain before and after.
notes:
  - Set C(VELMORA_ALERTS=none) in the task's environment so that a failing extension never
    waits for someone to close an alert.
requirements:
  - velmora-install-host and velmora-defaults with C(--json) on the managed host.
author:
  - Velmora developers
"""

EXAMPLES = r"""
- name: Tempest's plug-ins start in Japanese
  velmora_lang:
    product: Tempest
    language: ja
  become: true
  environment:
    VELMORA_ALERTS: none

- name: Gravel by code, language by Mac OS number (1 is French)
  velmora_lang:
    product: 1200
    language: 1
  become: true

- name: Let the Tempest plug-ins choose their language again
  velmora_lang:
    product: Tempest
    state: absent
  become: true
"""

RETURN = r"""
product:
  description: The product as the tool understood it; I(name) is null for a code it does not know.
  returned: always
  type: dict
  sample: {"name": "Tempest", "code": 1400}
language:
  description: The Mac OS language number and the value the extension writes for it.
  returned: when state is present
  type: dict
  sample: {"number": 11, "lang": "ja"}
domains:
  description:
    - One entry per plug-in format domain with C(Lang) before and after (null when unset)
      and whether it changed.
    - In check mode, C(after) is what a real run would leave.
  returned: always
  type: list
  elements: dict
  sample:
    - domain: com.velmora.audioplugins.Tempest.AU
      before: en
      after: ja
      changed: true
call:
  description: How the extension was called (C(factory) or C(direct)); null when it was not called.
  returned: when state is present
  type: str
  sample: factory
flags:
  description: The parameter record's flag word after the call; null when it was not called.
  returned: when state is present
  type: int
  sample: 0
note:
  description: What the tool noted, e.g. that the extension writes nothing for an unknown
    product code.
  returned: when the tool gave one
  type: str
"""

import json

from ansible.module_utils.basic import AnsibleModule

LANG_KEY = "Lang"


def run_json(module, argv):
    """Runs a tool with --json and returns (exit code, parsed document or None, stderr)."""
    rc, out, err = module.run_command(argv)
    try:
        doc = json.loads(out)
    except ValueError:
        doc = None
    if not isinstance(doc, dict):
        doc = None
    return rc, doc, err


def tool_error(argv, rc, doc, err):
    """The tool's own one-line reason for a failure, whichever channel carried it."""
    if doc is not None and doc.get("error"):
        return doc["error"]
    lines = [line for line in (err or "").splitlines() if line.strip()]
    if lines:
        return lines[-1].strip()
    if doc is None:
        return "%s printed no JSON document (exit %d)" % (argv[0], rc)
    return "%s failed (exit %d)" % (argv[0], rc)


def shown(value):
    return "(not set)" if value is None else value


def lang_diff(product, domains):
    """A before/after text with one line per domain, so --diff shows each Lang that moves."""
    width = max([len(d["domain"]) for d in domains] + [0])
    line = "%-*s  Lang = %s\n"
    before = "".join(line % (width, d["domain"], shown(d["before"])) for d in domains)
    after = "".join(line % (width, d["domain"], shown(d["after"])) for d in domains)
    header = "%s (all users, this host)" % product
    return {"before_header": header, "after_header": header, "before": before, "after": after}


def install_host_call(module, tool, product, language, dry_run):
    argv = [tool, "--product", product, "--language", language, "--json"]
    if dry_run:
        argv.insert(-1, "--dry-run")
    rc, doc, err = run_json(module, argv)
    if rc != 0 or doc is None or not isinstance(doc.get("domains"), list):
        failure = {"rc": rc, "cmd": argv, "stderr": err}
        if doc is not None:
            keys = ("product", "language", "domains", "flags", "note")
            failure.update((k, doc[k]) for k in keys if k in doc)
            # A call that failed half-way may still have written some domains.
            if not dry_run and isinstance(doc.get("domains"), list):
                failure["changed"] = any(bool(d.get("changed")) for d in doc["domains"])
        module.fail_json(msg=tool_error(argv, rc, doc, err), **failure)
    return doc


def report(module, doc, domains, **extra):
    changed = any(bool(d.get("changed")) for d in domains)
    result = dict(changed=changed, product=doc.get("product"), domains=domains, **extra)
    if doc.get("note"):
        result["note"] = doc["note"]
        module.warn(doc["note"])
    if module._diff and changed:
        result["diff"] = lang_diff(module.params["product"], domains)
    module.exit_json(**result)


def ensure_present(module, tool):
    product, language = module.params["product"], module.params["language"]
    planned = install_host_call(module, tool, product, language, dry_run=True)
    if module.check_mode or not any(d.get("changed") for d in planned["domains"]):
        report(module, planned, planned["domains"], language=planned.get("language"),
               call=None, flags=None)
        return
    done = install_host_call(module, tool, product, language, dry_run=False)
    report(module, done, done["domains"], language=done.get("language"),
           call=done.get("call"), flags=done.get("flags"))


def current_langs(module, tool, product):
    """Each domain of the product with its Lang now: a dry run lists them and writes nothing,
    whatever the language."""
    doc = install_host_call(module, tool, product, "en", dry_run=True)
    return doc, [(d["domain"], d.get("before")) for d in doc["domains"]]


def ensure_absent(module, tool):
    defaults = module.params["defaults"] or module.get_bin_path("velmora-defaults",
                                                                required=True)
    product = module.params["product"]
    planned, langs = current_langs(module, tool, product)
    domains = [dict(domain=name, before=lang, after=None, changed=lang is not None)
               for name, lang in langs]
    if module.check_mode or not any(d["changed"] for d in domains):
        report(module, planned, domains)
        return

    errors = {}
    for d in domains:
        if d["before"] is None:
            continue
        argv = [defaults, "--all-users", "--current-host", "--json", "delete", d["domain"],
                LANG_KEY]
        rc, doc, err = run_json(module, argv)
        if rc != 0 or doc is None or doc.get("deleted") is not True:
            errors[d["domain"]] = tool_error(argv, rc, doc, err)
    # A failed delete may only mean that someone else removed the key meanwhile: what counts
    # is what the store holds now.
    now = dict(current_langs(module, tool, product)[1])
    for d in domains:
        d["after"] = now.get(d["domain"])
        d["changed"] = d["before"] != d["after"]
    left = [d["domain"] for d in domains if d["after"] is not None]
    if left:
        why = [errors.get(name, "%s still holds %s" % (name, LANG_KEY)) for name in left]
        module.fail_json(msg="; ".join(why), product=planned.get("product"), domains=domains,
                         changed=any(d["changed"] for d in domains))
    report(module, planned, domains)


def main():
    module = AnsibleModule(
        argument_spec=dict(
            product=dict(type="str", required=True),
            language=dict(type="str"),
            state=dict(type="str", default="present", choices=["present", "absent"]),
            install_host=dict(type="path"),
            defaults=dict(type="path"),
        ),
        required_if=[("state", "present", ["language"])],
        supports_check_mode=True,
    )
    tool = module.params["install_host"] or module.get_bin_path("velmora-install-host",
                                                                 required=True)
    if module.params["state"] == "present":
        ensure_present(module, tool)
    else:
        ensure_absent(module, tool)


if __name__ == "__main__":
    main()
