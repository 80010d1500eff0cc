WHERE
      (Orders.Freight > 10)
