# web.py ZTSIM [OPTION...] -- CODE: runs the Python code with the page of a device, whose options these are. It has
# ask(), which returns a status, headers and a body, and device, the process, whose command reads a shell's lines.
import http.client
import json
import re
import subprocess
import sys
from urllib.parse import urlsplit

*arguments, code = sys.argv[1:]
ztsim, options = arguments[0], arguments[1:-1]
device = subprocess.Popen([ztsim, "--web", *options, "--", "sh"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True)
address = ""
while "shown at" not in address:
    address = device.stderr.readline()
url = re.fullmatch(r"ztsim: the device is shown at (http://127\.0\.0\.1:[0-9]+/\?token=[0-9a-f]{32})\n", address)[1]
host = urlsplit(url).netloc
token = url[-32:]


def ask(path, method="GET", body=None, given=None, **headers):
    """A request with the token that is given, or the right one, and these headers beside Host."""
    connection = http.client.HTTPConnection(host, timeout=60)
    target = path + "?token=" + (token if given is None else given)
    connection.request(method, target, body, {name.replace("_", "-"): value for name, value in headers.items()})
    answer = connection.getresponse()
    return answer.status, answer.headers, answer.read().decode() if path != "/events" else answer


def say(*words, **headers):
    """What a command is answered."""
    return json.loads(ask("/command", "POST", json.dumps(words), **headers)[2])


def events(answer):
    """Pairs of an event's name and its data."""
    name = ""
    for line in answer:
        key, _, value = line.decode().rstrip("\n").partition(": ")
        if key == "event":
            name = value
        elif key == "data":
            yield name, json.loads(value)


exec(code)
device.stdin.close()
device.wait()
