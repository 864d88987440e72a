"""Runs pyftpdlib: packages host port greeting root user password type, the type being "i" (binary) or "a" (ascii)."""
import sys

packages, host, port, greeting, root, user, password, default_type = sys.argv[1:]
sys.path.insert(0, packages)

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer


class Handler(FTPHandler):
    banner = greeting
    authorizer = DummyAuthorizer()

    def __init__(self, *arguments, **named):
        super().__init__(*arguments, **named)
        self._current_type = default_type


Handler.authorizer.add_user(user, password, root, perm="elr")
FTPServer((host, int(port)), Handler, backlog=200).serve_forever()
