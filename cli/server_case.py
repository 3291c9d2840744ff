"""What the tests of the server share: ways to start it and to ask it.

The first argument of the test program is the command's path.
"""

import base64
import http.client
import os
import pathlib
import re
import shutil
import signal
import ssl
import subprocess
import time

from command_case import PROGRAM, CommandTest

SPACE = '<NAMESPACE NAME="root"/><NAMESPACE NAME="cimv2"/>'
SERVICE = "KAVRO_HDDTest_DiagnosticService"
SERVICE_KEYS = {"Name": "Hard Drive: Self Test", "SystemCreationClassName": "KAVRO_ComputerSystem",
                "SystemName": "", "CreationClassName": SERVICE}
RECORD = "KAVRO_HDDTest_DiagnosticCompletionRecord"
# A sanitizer takes most of the memory of a program.
SANITIZED = b"__asan_init" in pathlib.Path(PROGRAM).read_bytes()


def message(call):
    return ('<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0">'
            f'<MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ>{call}</SIMPLEREQ></MESSAGE></CIM>')


def enumeration(class_name):
    return message(f'<IMETHODCALL NAME="EnumerateInstances"><LOCALNAMESPACEPATH>{SPACE}'
                   '</LOCALNAMESPACEPATH><IPARAMVALUE NAME="ClassName">'
                   f'<CLASSNAME NAME="{class_name}"/></IPARAMVALUE></IMETHODCALL>')


def instance_name(class_name, keys):
    bindings = "".join(f'<KEYBINDING NAME="{name}"><KEYVALUE VALUETYPE="string">{value}</KEYVALUE>'
                       "</KEYBINDING>" for name, value in keys.items())
    return f'<INSTANCENAME CLASSNAME="{class_name}">{bindings}</INSTANCENAME>'


def run_of(device, service=SERVICE_KEYS["Name"]):
    path = f"<LOCALNAMESPACEPATH>{SPACE}</LOCALNAMESPACEPATH>"
    drive = instance_name("KAVRO_DiskDrive", {"DeviceID": device})
    return message(
        '<METHODCALL NAME="RunDiagnostic"><LOCALINSTANCEPATH>' + path +
        instance_name(SERVICE, dict(SERVICE_KEYS, Name=service)) + '</LOCALINSTANCEPATH><PARAMVALUE '
        f'NAME="ManagedElement"><VALUE.REFERENCE><LOCALINSTANCEPATH>{path}{drive}'
        "</LOCALINSTANCEPATH></VALUE.REFERENCE></PARAMVALUE></METHODCALL>")


class ServerTest(CommandTest):
    process = None
    new_session = False  # whether the server has a session of its own, as a service has

    def serve(self, *arguments, **environment):
        """Starts the server on a free port; returns its first URL."""
        return self.start([PROGRAM, "serve", "--port", "0", *arguments],
                          env=dict(self.environment, **environment))

    def start(self, command, **how):
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        text=True, cwd=self.folder,
                                        start_new_session=self.new_session, **how)
        self.addCleanup(self.end, signal.SIGKILL)
        line = self.process.stdout.readline()
        self.assertRegex(line, r"\AListening on https?://\S+:\d+( and https?://\S+:\d+)*\n\Z",
                         self.process.poll())
        self.urls = line.split()[2::2]
        self.url = self.urls[0]
        self.port = int(self.url.rsplit(":", 1)[1])
        return self.url

    def end(self, number=signal.SIGTERM):
        """Ends it; its status. What it wrote is in output and errors."""
        process, self.process = self.process, None
        if process:
            process.send_signal(number)
            self.output, self.errors = process.communicate(timeout=60)
            self.status = process.returncode
        return self.status

    def connect(self):
        if self.url.startswith("https"):
            context = ssl.create_default_context(cafile=self.folder / "cert.pem")
            connection = http.client.HTTPSConnection("localhost", self.port, timeout=60,
                                                     context=context)
        else:
            connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        self.addCleanup(connection.close)
        return connection

    def send(self, connection, body, user=None):
        method = re.search('METHODCALL NAME="([^"]+)"', body)[1]
        headers = {"Content-Type": 'application/xml; charset="utf-8"', "CIMMethod": method,
                   "CIMOperation": "MethodCall", "CIMObject": "root%2Fcimv2"}
        if method == "RunDiagnostic":
            service = re.search('NAME="Name"><KEYVALUE VALUETYPE="string">([^<]*)', body)[1]
            keys = ",".join(f'{name}="{value}"'
                            for name, value in dict(SERVICE_KEYS, Name=service).items())
            headers["CIMObject"] = f"root/cimv2:{SERVICE}.{keys}"
        if user:
            headers["Authorization"] = "Basic " + base64.b64encode(user.encode()).decode()
        connection.request("POST", "/cimom", body, headers)

    def ask(self, body, user=None, connection=None):
        connection = connection or self.connect()
        self.send(connection, body, user)
        reply = connection.getresponse()
        return reply.status, reply.read().decode()

    def count(self, class_name, **how):
        status, text = self.ask(enumeration(class_name), **how)
        self.assertEqual(status, 200, text)
        self.assertNotIn("<ERROR", text)
        return text.count("<VALUE.NAMEDINSTANCE>")

    def make_user(self, user="operator", password="secret", file="users"):
        subprocess.run([PROGRAM, "passwd", file, user], input=password + "\n", text=True,
                       check=True, cwd=self.folder, env=self.environment, timeout=60)

    def make_certificate(self, name="cert", bits=2048):
        if not shutil.which("openssl"):
            self.skipTest("there is no openssl")
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", f"rsa:{bits}", "-nodes", "-days", "2", "-subj",
             "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout",
             "key.pem", "-out", f"{name}.pem"], check=True, capture_output=True, cwd=self.folder)
        os.chmod(self.folder / "key.pem", 0o600)
        return ["--cert", f"{name}.pem", "--key", "key.pem"]

    def resources(self):
        """Descriptors, threads and resident MiB; memory has some room to settle."""
        process = pathlib.Path(f"/proc/{self.process.pid}")
        descriptors = len(list((process / "fd").iterdir()))
        threads = len(list((process / "task").iterdir()))
        return descriptors, threads, 0 if SANITIZED else self.memory("VmRSS") // 16 * 16

    def memory(self, which):
        """In MiB: VmRSS is what it has, VmHWM the most that it had."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(rf"{which}:\s*(\d+) kB", status)[1]) // 1024

    def wait_for(self, condition, what):
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.05)

    def wait_for_log(self, text):
        self.wait_for(lambda: self.log.exists() and text in self.log.read_text(errors="replace"),
                      f"the log never shows {text}")
