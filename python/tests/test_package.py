"""The package as shipped: stubs in step with the binding, documented API,
the library's trace lines routed to logging."""

import ast
import inspect
import logging
from pathlib import Path

import rzfilterfunc as rz
from rzfilterfunc import _core


def stub_names(tree):
    names = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            names[node.name] = {n.name for n in node.body if isinstance(n, ast.FunctionDef)}
        elif isinstance(node, ast.FunctionDef):
            names[node.name] = None
    return names


def test_stubs_declare_every_name_of_the_binding():
    stub = Path(_core.__file__).with_name("_core.pyi")
    declared = stub_names(ast.parse(stub.read_text()))
    public = {n for n in dir(_core) if not n.startswith("__")}
    assert public == set(declared)
    for name, members in declared.items():
        if members is None:
            continue
        actual = {m for m in vars(getattr(_core, name)) if not m.startswith("__") or m in
                  ("__init__", "__call__")}
        actual -= {"_pybind11_conduit_v1_"}
        assert actual == members, name


def test_public_api_is_documented():
    for name in rz.__all__:
        obj = getattr(rz, name)
        if inspect.isclass(obj) or inspect.isfunction(obj):
            assert obj.__doc__ and len(obj.__doc__) > 40, name
    assert "one thread at a time" in rz.Filter.__doc__
    assert Path(rz.__file__).with_name("py.typed").exists()


def test_validation_failure_is_logged_not_printed(caplog, capfd):
    with caplog.at_level(logging.DEBUG, logger="rzfilterfunc"):
        rz.design("butterworth", "lowpass", 512.0, [100, 300], check=False)
    assert any("输入的频率应小于等于采样频率/2.56！" in r.getMessage() for r in caplog.records)
    assert capfd.readouterr().err == ""
