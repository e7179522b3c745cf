"""answer.py ROOT: what the program does for `load`, as a Python script."""

import json
import os
import subprocess
import sys
from urllib.parse import parse_qs

ROOT = sys.argv[1]
PACKAGE = ROOT + "/var/packages/Cinquill/"


def read_json(name):
    with open(PACKAGE + "etc/" + name, encoding="utf-8") as file:
        return json.load(file)


def lines(path):
    with open(path, encoding="utf-8") as file:
        return file.read().splitlines()


def is_administrator(user):
    groups = (line.split(":") for line in lines(ROOT + "/etc/group"))
    return any(group[0] == "administrators" and user in group[3].split(",") for group in groups)


def destination():
    folders = [folder for folder in read_json("folder.conf") if isinstance(folder, dict)]
    for folder in folders:
        place = folder.get("share"), folder.get("subpath")
        folder["path"] = "".join("/" + part for part in place if part)
    for folder in folders:
        if folder.get("section") == "tv_record" and not folder.get("library_id"):
            return folder["path"]
    return ""


def load():
    stream, record = read_json("stream.conf"), read_json("record.conf")
    probe = [PACKAGE + "scripts/check-dvb-conflict.sh", "check"]
    conflict = subprocess.run(probe, capture_output=True, text=True, check=False).stdout
    return {
        "closestreaming": record["closestreaming"] == "yes",
        "pre_recording": record["pre_recording"],
        "post_recording": record["post_recording"],
        "enableauth": stream["enableauth"] == "yes",
        "account": stream["account"],
        "passwd": "24681357",
        "password_confirm": "75318642",
        "enable_viewer_limit": stream["enable_viewer_limit"] == "yes",
        "streaming_limit": stream["streaminglimit"],
        "dtv_destination": destination(),
        "disable_dtv": "disable_dtv=yes" in lines(PACKAGE + "etc/dtv_setting.conf"),
        "DVB_conflict": conflict == "yes\n",
    }


assert parse_qs(os.environ["QUERY_STRING"]) == {"action": ["load"]}
assert is_administrator(os.environ["REMOTE_USER"])
print('Content-Type: text/plain; charset="UTF-8"\r\n\r')
print(json.dumps({"data": load(), "success": True}, separators=(",", ":")))
