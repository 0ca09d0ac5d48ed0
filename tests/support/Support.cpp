// Support for the tests.
