#!/usr/bin/env python3
"""Holds what parlowen-service replies against its own OpenAPI document, and the document against the routes.

Usage: openapi_test.py PARLOWEN_SERVICE SOURCE_DIRECTORY"""
import http.client
import json
import re
import ssl
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from jsonschema import Draft202012Validator

SERVICE, SOURCE = sys.argv[1], Path(sys.argv[2])
BASE = "/api/v1"
PHONE = {"country_code": "86", "phone": "13800000001"}


class OpenApi(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.service = subprocess.Popen(
            [SERVICE, "--listen", "127.0.0.1:0", "--data", cls.folder.name + "/data", "--config", "/dev/null",
             "--contact", "https://example.org", "--create-accounts", "--exit-with-stdin"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        cls.port = int(cls.service.stdout.readline().rsplit(":", 1)[1])
        cls.tls = ssl.create_default_context(cafile=cls.folder.name + "/data/tls/ca.pem")
        cls.document = json.loads(cls.send("GET", "/openapi.json")[2])

    @classmethod
    def tearDownClass(cls):
        cls.service.communicate()
        cls.folder.cleanup()

    @classmethod
    def send(cls, method, path, body=None, token=None):
        """The status, the content type and the body of a reply."""
        connection = http.client.HTTPSConnection("127.0.0.1", cls.port, context=cls.tls, timeout=30)
        connection.request(method, BASE + path, None if body is None else json.dumps(body),
                           {} if token is None else {"Authorization": "Bearer " + token})
        reply = connection.getresponse()
        text = reply.read()
        connection.close()
        return reply.status, reply.headers["Content-Type"].split(";")[0], text

    def check(self, schema, value):
        """Against a schema of the document, and the schema against its own rules."""
        rooted = {**schema, "components": self.document["components"]}
        Draft202012Validator.check_schema(rooted)
        Draft202012Validator(rooted).validate(value)

    def ask(self, method, path, body=None, token=None, code=0):
        """Sends what the document describes; the reply's data, after it was held against the document."""
        template, operation = next(
            (template, methods[method.lower()]) for template, methods in self.document["paths"].items()
            if re.fullmatch(re.sub(r"{[^}]*}", "[^/]+", re.escape(template).replace("\\{", "{").replace("\\}", "}")),
                            path.split("?")[0]))
        self.asked.add((template, method.lower()))
        status, content, text = self.send(method, path, body, token)
        described = operation["responses"][str(status)]["content"][content]
        if content != "application/json":
            return text
        value = json.loads(text)
        self.check(described["schema"], value)
        if "data" in value:
            self.assertEqual(value["code"], code, path)
            if status == 200 and body is not None:
                self.check(operation["requestBody"]["content"]["application/json"]["schema"], body)
        return value.get("data")

    def test_replies_are_as_described(self):
        self.asked = set()
        document = self.ask("GET", "/openapi.json")
        self.assertIsNone(document)
        self.assertEqual(self.ask("GET", "/user/get_login_method"), 1)
        token = self.ask("POST", "/user/account/login", {**PHONE, "password": "secret-1"})["token"]
        self.ask("POST", "/user/account/login", {**PHONE, "password": "wrong-one"}, code=1002)
        self.ask("POST", "/user/account/login", [], code=400)
        self.ask("POST", "/user/login", {**PHONE, "code": "123456"}, code=501)
        self.ask("POST", "/user/send_sms_code", {**PHONE, "data": "x"}, code=501)
        self.assertEqual(self.ask("GET", "/user/info", token=token)["user"]["phone"], PHONE["phone"])
        self.ask("PUT", "/user/change_user_type/2", token=token)
        self.assertTrue(self.ask("GET", "/ai/token", token=token))
        self.ask("POST", "/user/bind_resume/none", token=token, code=1004)
        for source in (1, 2):
            self.ask("GET", f"/language/list?source={source}", token=token)
        self.ask("GET", "/language/list?source=3", token=token, code=400)
        self.assertIn("wss://", self.ask("GET", "/microsoft/get_token", token=token)["area"])
        self.assertGreater(len(self.ask("GET", "/country/list")), 200)
        version = self.ask("GET", "/operation/version")
        self.assertEqual(version["version"], version["min_version"], "nothing newer to offer")
        picture = f"https://127.0.0.1:{self.port}{BASE}/operation/contact.png"
        self.assertTrue(self.ask("GET", "/operation/contact").startswith(picture))
        self.assertTrue(self.ask("GET", "/operation/contact.png").startswith(b"\x89PNG"))
        lines = self.ask("POST", "/ai/meeting", {"type": 1, "txt": "Why?"}, token).decode().split("\n\n")
        events = [json.loads(line[6:]) for line in lines if line.startswith("data: ")]
        self.assertEqual(events[-1]["data"]["content"], "@@")
        for event in events:
            self.check({"$ref": "#/components/schemas/Event"}, event)
        self.ask("POST", "/user/logout", token=token)
        for template, methods in self.document["paths"].items():
            for method, operation in methods.items():
                if "security" in operation:
                    self.ask(method.upper(), re.sub("{[^}]*}", "1", template) + "?source=1", token="old", code=401)
        token = self.ask("POST", "/user/account/login", {**PHONE, "password": "secret-1"})["token"]
        self.ask("POST", "/user/logoff", token=token)
        described = {(path, method) for path, methods in self.document["paths"].items() for method in methods}
        self.assertEqual(described - self.asked, set(), "what is described was asked")

    def test_a_stranger_is_not_asked_for_a_large_body(self):
        for template, methods in self.document["paths"].items():
            for method, operation in methods.items():
                connection = http.client.HTTPSConnection("127.0.0.1", self.port, context=self.tls, timeout=30)
                connection.putrequest(method.upper(), BASE + re.sub("{[^}]*}", "1", template))
                connection.putheader("Content-Length", "16385")
                connection.endheaders()
                expected = 401 if "security" in operation else 413
                self.assertEqual(connection.getresponse().status, expected, template)
                connection.close()

    def test_every_route_is_described(self):
        sources = "".join(file.read_text() for file in (SOURCE / "service").rglob("*.cpp"))
        routes = {path.rstrip("/*") for path in re.findall(r'apiPath\("([^"]+)"\)', sources)}
        routes.add("/user/bind_resume")
        described = {path.split("/{")[0] for path in self.document["paths"]}
        self.assertEqual(described, routes)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
