select o.OrderID, c.CompanyName Company, sum(od.Quantity) as Units
from Orders o
  left join Customers c on c.CustomerID = o.CustomerID
  join "Order Details" od on od.OrderID = o.OrderID -- lines
where o.ShipCountry in (N'Österreich', 'Germany') and o.OrderDate between <[From]> and <[To]>
group by o.OrderID, c.CompanyName
having sum(od.Quantity) > 10
order by 3 desc, Company